#include "Acts.h"
#include "Log.h"
#include "Peer.h"
#include "World.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sys/mman.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int UsageStatus = 2;
constexpr std::ptrdiff_t LastLines = 60;
constexpr int64_t ProgressMs = 5'000;

class Run {
public:
    /// \a maxWaitMs of the witness; 0: unlimited
    explicit Run(int64_t maxWaitMs)
        : maxWaitUs(maxWaitMs * 1'000)
    {
    }

    bool playSeeds(unsigned seed, const world::Choice& choice, int64_t seconds)
    {
        do {
            if (!play(makeActs(seed, choice), "world-" + std::to_string(seed)))
                return false;
            ++seed;
        } while (world::nowMs() - begin < seconds * 1'000);
        return true;
    }

    bool playFiles(const std::filesystem::path& path)
    {
        std::vector<std::filesystem::path> files {path};
        if (std::filesystem::is_directory(path))
            files.assign(std::filesystem::directory_iterator(path), {});
        for (const auto& file : files) {
            std::ifstream in(file);
            std::vector<std::string> acts;
            for (std::string line; std::getline(in, line);)
                if (!line.starts_with('#'))
                    acts.push_back(line);
            if (!play(acts, file.stem().string() + "-failed"))
                return false;
        }
        return true;
    }

    void printProgress()
    {
        printedAt = world::nowMs();
        std::printf("%5.0f s: %d worlds, %ld clients; longest wait %.1f ms\n",
            static_cast<double>(printedAt - begin) / 1e3, worlds, static_cast<long>(figures.clients),
            static_cast<double>(figures.longestWaitUs) / 1e3);
        static_cast<void>(std::fflush(stdout));
    }

private:
    bool play(const std::vector<std::string>& acts, const std::string& name)
    {
        world::Outcome outcome = playApart(acts, figures);
        ++worlds;
        if (maxWaitUs > 0 && figures.longestWaitUs > maxWaitUs)
            outcome.breaches.push_back("waiting: " + std::to_string(figures.longestWaitUs) + " us");
        if (world::nowMs() - printedAt > ProgressMs)
            printProgress();
        if (!outcome.breaches.empty())
            report(acts, outcome, name);
        return outcome.breaches.empty();
    }

    void report(const std::vector<std::string>& acts, const world::Outcome& outcome, const std::string& name) const
    {
        const std::vector<std::string> lines = world::split(outcome.log, '\n');
        for (auto each = lines.end() - std::min(std::ssize(lines), LastLines); each != lines.end(); ++each)
            std::printf("%.400s\n", each->c_str());
        for (const std::string& each : outcome.breaches)
            std::printf("BROKEN %.1500s\n", each.c_str());
        std::ofstream out(name + ".acts");
        for (const std::string& act : acts)
            out << act << '\n';
        std::ofstream(name + ".log") << outcome.log;
        std::printf("The whole log: %s.log\nPlay it again: --replay %s.acts\n", name.c_str(), name.c_str());
    }

    int64_t maxWaitUs;
    void* const shared =
        mmap(nullptr, sizeof(world::Figures), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    world::Figures& figures = *new (shared) world::Figures;
    int64_t begin = world::nowMs();
    int64_t printedAt = begin;
    int worlds = 0;
};

/// Called before there are worlds, which have their own application.
void readOptions(QCommandLineParser& parser, int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QString kinds;
    for (const std::string& each : world::kinds())
        kinds += u' ' + QString::fromStdString(each);
    parser.setApplicationDescription(u"Plays worlds, each from a seed: random clients and a random host over TLS. A "
                                     "failure writes the acts to a file and exits with status 1."_s);
    parser.addOptions({{u"seed"_s, u"The first seed."_s, u"N"_s, u"1"_s},
        {u"seconds"_s, u"Play worlds for this long; by default only one."_s, u"S"_s, u"0"_s},
        {u"only"_s, u"Only these kinds:"_s + kinds, u"KIND,..."_s},
        {u"limits"_s, u"The limits at the start of each world: none, tiny or room."_s, u"LIMITS"_s},
        {u"max-wait-ms"_s, u"The longest that a witness may wait, also for the host itself."_s, u"MS"_s},
        {u"replay"_s, u"Plays the acts of a file, or of each file of a directory."_s, u"FILE"_s}});
    parser.addHelpOption();
    parser.process(application);
}

} // namespace

int main(int argc, char** argv)
try {
    QCommandLineParser parser;
    readOptions(parser, argc, argv);
    const auto valueOf = [&parser](const QString& option) { return parser.value(option).toStdString(); };
    world::makeClientContexts(); // before there are threads
    Run run(parser.value(u"max-wait-ms"_s).toLongLong());
    const world::Choice choice {world::split(valueOf(u"only"_s), ','), valueOf(u"limits"_s)};
    const bool passed = parser.isSet(u"replay"_s)
        ? run.playFiles(valueOf(u"replay"_s))
        : run.playSeeds(parser.value(u"seed"_s).toUInt(), choice, parser.value(u"seconds"_s).toLongLong());
    run.printProgress();
    return passed ? 0 : 1;
} catch (const std::exception& error) { // a file that does not describe a world
    static_cast<void>(std::fprintf(stderr, "orvane-world: %s\n", error.what()));
    return UsageStatus;
}

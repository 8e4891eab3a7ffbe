#include "Acts.h"
#include "Certificates.h"
#include "Log.h"
#include "World.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <sys/mman.h>

namespace {

constexpr const char* Help = R"(Usage: orvane-world [OPTIONS]
Plays worlds, each from a seed: random clients and a random host, against the library over TLS on the loopback address.

  --seed N            the seed of the first world; without --seconds, of the only one. At first 1
  --seconds S         world after world for so long
  --only KIND,...     nothing but these: )";
constexpr const char* MoreHelp = R"(
  --limits, --no-limits   each world begins with tiny limits, or with none
  --certificates      clients are asked for a certificate
  --except PROMISE,...    breaches of these are no failure: quiet, carried-out, replies, login, limits, pause, address, audit,
                      memory, descriptors, waiting, hang, crash
  --max-wait-ms MS    a witness that waits longer, without the host's own time, is a failure ("waiting")
  --replay FILE       plays the acts of a file, or of each file of a directory. --repeat N: so often
  --shrink            drops acts, as long as the same promise is still broken
  --hang SECONDS      without a line in the log for so long it hangs; at first 60

A failure prints the promise, the seed and the end of the log, writes the acts to a file, and ends with status 1.
)";

constexpr int UsageStatus = 2;
constexpr int TriesOfAct = 3; // while shrinking: threads and sockets are never twice the same
constexpr size_t LastLines = 60;
constexpr size_t MostBreaches = 8; // of one world that are printed
constexpr int64_t ProgressMs = 5'000;

struct Options {
    world::Choice choice;
    std::vector<std::string> except;
    std::string replay;
    unsigned seed = 1;
    int64_t seconds = 0;
    int64_t maxWaitMs = 0;
    int repeat = 1;
    int hangSeconds = 60;
    bool shrinks = false;
};

class Run {
public:
    explicit Run(Options given)
        : options(std::move(given))
        , figures(*new (mmap(nullptr, sizeof(world::Figures), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1,
              0)) world::Figures)
        , begin(world::nowMs())
    {
    }

    bool playSeeds()
    {
        unsigned seed = options.seed;
        int64_t told = world::nowMs();
        do {
            if (!play(makeActs(seed, options.choice), "seed " + std::to_string(seed), "world-" + std::to_string(seed)))
                return false;
            ++seed;
            if (world::nowMs() - told > ProgressMs) {
                told = world::nowMs();
                tell();
            }
        } while (world::nowMs() - begin < options.seconds * 1'000);
        tell();
        return true;
    }

    bool playFiles()
    {
        std::vector<std::filesystem::path> files {options.replay};
        if (std::filesystem::is_directory(options.replay)) {
            files.assign(std::filesystem::directory_iterator(options.replay), {});
            std::sort(files.begin(), files.end());
        }
        for (const auto& file : files) {
            std::ifstream in(file);
            std::vector<std::string> acts;
            for (std::string line; std::getline(in, line);)
                if (!line.empty() && line[0] != '#')
                    acts.push_back(line);
            for (int count = 0; count < options.repeat && !acts.empty(); ++count)
                if (!play(acts, file.string(), file.stem().string() + "-failed"))
                    return false;
        }
        tell();
        return true;
    }

private:
    std::vector<std::string> breachesOf(world::Outcome& outcome) const
    {
        std::vector<std::string> breaches = outcome.breaches;
        if (options.maxWaitMs > 0 && figures.longestWaitUs > options.maxWaitMs * 1'000)
            breaches.push_back("waiting: the witness has waited for " + std::to_string(figures.longestWaitUs) + " us");
        std::erase_if(breaches, [this](const std::string& each) {
            return std::find(options.except.begin(), options.except.end(), world::promiseOf(each))
                != options.except.end();
        });
        return breaches;
    }

    bool play(std::vector<std::string> acts, const std::string& title, const std::string& name)
    {
        world::Outcome outcome = world::playApart(acts, figures, options.hangSeconds);
        ++worlds;
        const std::vector<std::string> breaches = breachesOf(outcome);
        if (breaches.empty())
            return true;
        std::vector<std::string> lines = world::split(outcome.log, "\n");
        for (size_t index = lines.size() - std::min(lines.size(), LastLines); index < lines.size(); ++index)
            std::printf("%.400s\n", lines[index].c_str());
        for (size_t index = 0; index < std::min(breaches.size(), MostBreaches); ++index)
            std::printf("BROKEN %.1500s\n", breaches[index].c_str());
        std::printf("%s, after %.1f s\n", title.c_str(), static_cast<double>(world::nowMs() - begin) / 1000.0);
        if (options.shrinks)
            shrink(acts, world::promiseOf(breaches.front()));
        const std::string file = name + ".acts";
        std::ofstream out(file);
        for (const std::string& act : acts)
            out << act << '\n';
        std::ofstream(name + ".log") << outcome.log;
        std::printf("The whole log: %s.log\nPlay it again: --replay %s\n", name.c_str(), file.c_str());
        tell();
        return false;
    }

    bool stillBreaks(const std::vector<std::string>& acts, const std::string& promise)
    {
        for (int count = 0; count < TriesOfAct; ++count) {
            figures.longestWaitUs = 0;
            world::Outcome outcome = world::playApart(acts, figures, options.hangSeconds);
            for (const std::string& each : breachesOf(outcome))
                if (world::promiseOf(each) == promise)
                    return true;
        }
        return false;
    }

    /// What the host does at the Nth of something happens at an earlier one, so that what came before is not needed.
    void bringForward(std::vector<std::string>& acts, const std::string& promise)
    {
        for (std::string& act : acts) {
            const size_t at = act.find('#') + 1;
            for (const char* number : {"1", "2", "4", "8"}) {
                if (at == 0 || std::stoi(number) >= std::stoi(act.substr(at)))
                    break;
                std::string before = act;
                act.replace(at, act.find(' ', at) - at, number);
                if (stillBreaks(acts, promise))
                    break;
                act = before;
            }
        }
    }

    /// Halves, quarters and so on of the acts are left out, but for the first, which is the world's.
    void shrink(std::vector<std::string>& acts, const std::string& promise)
    {
        bringForward(acts, promise);
        for (size_t part = acts.size() / 2; part > 0; part /= 2) {
            for (size_t at = 1; at < acts.size();) {
                std::vector<std::string> fewer = acts;
                const auto first = fewer.begin() + static_cast<std::ptrdiff_t>(at);
                fewer.erase(first, first + static_cast<std::ptrdiff_t>(std::min(part, acts.size() - at)));
                if (stillBreaks(fewer, promise))
                    acts = fewer;
                else
                    at += part;
            }
            std::printf("%zu acts are left\n", acts.size());
            static_cast<void>(std::fflush(stdout));
        }
        for (const std::string& act : acts)
            std::printf("  %s\n", act.c_str());
    }

    void tell() const
    {
        std::printf("%5.0f s: %d worlds, %ld clients, %ld commands; longest wait %.1f ms, %ld turns\n",
            static_cast<double>(world::nowMs() - begin) / 1000.0, worlds, long(figures.clients), long(figures.commands),
            static_cast<double>(figures.longestWaitUs) / 1000.0, long(figures.longestWaitTurns));
        static_cast<void>(std::fflush(stdout));
    }

    Options options;
    world::Figures& figures;
    int64_t begin;
    int worlds = 0;
};

int printHelp()
{
    static_cast<void>(std::fputs(Help, stdout));
    for (const std::string& kind : world::Kinds)
        std::printf("%s ", kind.c_str());
    static_cast<void>(std::fputs(MoreHelp, stdout));
    return 0;
}

} // namespace

int main(int argc, char** argv)
try {
    Options options;
    for (int index = 1; index < argc; ++index) {
        const std::string option = argv[index];
        const auto value = [&] { return std::string(index + 1 < argc ? argv[++index] : "0"); };
        if (option == "--seed")
            options.seed = static_cast<unsigned>(std::stoi(value()));
        else if (option == "--seconds")
            options.seconds = std::stoi(value());
        else if (option == "--only")
            options.choice.only = world::split(value(), ",");
        else if (option == "--except")
            options.except = world::split(value(), ",");
        else if (option == "--limits" || option == "--no-limits")
            options.choice.limits = option == "--limits" ? "tiny" : "none";
        else if (option == "--certificates")
            options.choice.certificates = true;
        else if (option == "--max-wait-ms")
            options.maxWaitMs = std::stoi(value());
        else if (option == "--replay")
            options.replay = value();
        else if (option == "--repeat")
            options.repeat = std::stoi(value());
        else if (option == "--hang")
            options.hangSeconds = std::stoi(value());
        else if (option == "--shrink")
            options.shrinks = true;
        else if (option == "--help" || option == "-h")
            return printHelp();
        else {
            static_cast<void>(std::fprintf(stderr, "orvane-world: no such option: %s; see --help\n", option.c_str()));
            return UsageStatus;
        }
    }
    for (const char* version : {"12", "13"}) // before there are threads
        for (const char* certificate : {"none", "good", "strange"})
            world::clientContext(version, certificate);
    Run run(options);
    return (options.replay.empty() ? run.playSeeds() : run.playFiles()) ? 0 : 1;
} catch (const std::exception& trouble) { // a number that is none, a file that is no world
    static_cast<void>(std::fprintf(stderr, "orvane-world: %s\n", trouble.what()));
    return UsageStatus;
}

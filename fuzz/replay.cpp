#include "Target.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

// The main function of a target built without the fuzz engine: runs each file once, then random inputs made from them,
// the same in every run. Usage: --help. Status 0 without a finding. A finding ends the program; the random input that
// caused it is kept in the file "finding".

namespace {

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error(file.fileName().toStdString() + ": " + file.errorString().toStdString());
    return file.readAll();
}

QByteArray current; ///< input

/// Keeps the input, so that the finding can be reproduced.
void keepFinding(int /*signal*/)
{
    QFile file(u"finding"_s);
    if (file.open(QIODevice::WriteOnly))
        file.write(current);
}

void run(const QByteArray& bytes)
{
    current = bytes;
    // A buffer of exactly this size, so that the address sanitizer detects a read beyond it.
    const std::vector<uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

/// Makes inputs: random bytes or one of the files, with some changes.
class Inputs {
public:
    Inputs(QByteArrayList seeds, const QByteArray& dictionary)
        : seeds(std::move(seeds))
    {
        const QByteArrayList lines = dictionary.split('\n');
        for (const QByteArray& line : lines) {
            const qsizetype begin = line.indexOf('"') + 1;
            if (begin > 0)
                words +=
                    line.mid(begin, line.lastIndexOf('"') - begin).replace("\\\"", "\"").replace("\\x0D\\x0A", "\r\n");
        }
    }

    QByteArray next()
    {
        QByteArray input = one(seeds);
        if (number(2) == 0 || input.size() > Longest)
            input = anything();
        for (int changes = number(5); changes > 0; --changes)
            change(input);
        return input;
    }

private:
    static constexpr qsizetype Longest = 2000;

    int number(qsizetype bound) { return random.bounded(static_cast<int>(bound)); }
    const QByteArray& one(const QByteArrayList& list) { return list.at(number(list.size())); }

    QByteArray anything()
    {
        QByteArray bytes(number(number(2) == 0 ? 30 : 300), Qt::Uninitialized);
        for (char& byte : bytes)
            byte = static_cast<char>(number(256));
        return bytes;
    }

    void change(QByteArray& input)
    {
        const qsizetype at = number(input.size() + 1);
        const qsizetype length = number(std::min<qsizetype>(input.size() - at, 30) + 1);
        switch (number(4)) {
        case 0:
            input.insert(at, one(words));
            break;
        case 1:
            input.remove(at, length);
            break;
        case 2:
            input.insert(number(input.size() + 1), input.mid(at, length));
            break;
        default:
            input.replace(at, 1, QByteArray(1, static_cast<char>(number(256))));
        }
    }

    QRandomGenerator random {1};
    QByteArrayList seeds;
    QByteArrayList words;
};

} // namespace

int main(int argc, char* argv[])
try {
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Runs a fuzz target without the fuzz engine."_s);
    parser.addHelpOption();
    parser.addOptions({{u"random"_s, u"Then run this many random inputs made from the files."_s, u"number"_s, u"0"_s},
        {u"dictionary"_s, u"Words for these inputs, in the format of the fuzz engine."_s, u"file"_s}});
    parser.addPositionalArgument(u"paths"_s, u"Input files, and directories of them."_s);
    parser.process(application);

    QByteArrayList seeds;
    const QStringList paths = parser.positionalArguments();
    for (const QString& path : paths) {
        const QFileInfo named(path);
        const auto files = named.isDir() ? QDir(path).entryInfoList(QDir::Files) : QFileInfoList {named};
        for (const QFileInfo& file : files) {
            static_cast<void>(std::printf("%s\n", qPrintable(file.filePath())));
            static_cast<void>(std::fflush(stdout));
            run(seeds.emplace_back(contentOf(file.filePath())));
        }
    }
    if (seeds.isEmpty())
        parser.showHelp(2);
    const int number = parser.value(u"random"_s).toInt();
    if (number > 0) {
        static_cast<void>(std::signal(SIGABRT, keepFinding));
        Inputs inputs(seeds, contentOf(parser.value(u"dictionary"_s)));
        for (int count = 0; count < number; ++count)
            run(inputs.next());
    }
    static_cast<void>(std::printf("%d inputs, no finding\n", static_cast<int>(seeds.size()) + number));
    return 0;
} catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
    return 2;
}

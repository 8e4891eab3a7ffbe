#include "Target.h"

#include <QByteArray>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <cstdint>
#include <cstdio>
#include <vector>

// The main function of a target that is built without the fuzz engine: runs files once each.

namespace {

bool replayFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        static_cast<void>(
            std::fprintf(stderr, "Cannot read %s: %s\n", qPrintable(path), qPrintable(file.errorString())));
        return false;
    }
    static_cast<void>(std::printf("%s\n", qPrintable(path)));
    static_cast<void>(std::fflush(stdout)); // a finding ends the program
    const QByteArray bytes = file.readAll();
    // A buffer of exactly this size, so that the address sanitizer sees a read beyond it.
    const std::vector<uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
    return true;
}

/// \return how many files were replayed, or -1 when one could not be read
int replay(const QString& path)
{
    if (!QFileInfo(path).isDir())
        return replayFile(path) ? 1 : -1;
    int count = 0;
    for (QDirIterator files(path, QDir::Files); files.hasNext(); ++count) {
        if (!replayFile(files.next()))
            return -1;
    }
    return count;
}

} // namespace

int main(int argc, char* argv[])
{
    int total = 0;
    for (int index = 1; index < argc; ++index) {
        const int count = replay(QFile::decodeName(argv[index]));
        if (count < 0)
            return 1;
        total += count;
    }
    if (total == 0) {
        static_cast<void>(std::fprintf(stderr,
            "Usage: %s FILE_OR_DIRECTORY...\nReplays inputs; ends with status 0 without a finding.\n",
            argc > 0 ? argv[0] : "replay"));
        return 2;
    }
    static_cast<void>(std::printf("%d inputs without a finding\n", total));
    return 0;
}

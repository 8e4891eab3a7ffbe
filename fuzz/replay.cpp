#include "Target.h"

#include <QDir>
#include <QFile>

#include <cstdio>
#include <utility>
#include <vector>

// The main function of a target that is built without the fuzz engine: runs files once each.
// Usage: PROGRAM FILE_OR_DIRECTORY... Status 0 without a finding, which would end the program.

int main(int argc, char* argv[])
{
    QFileInfoList files;
    for (int index = 1; index < argc; ++index) {
        const QFileInfo named(QFile::decodeName(argv[index]));
        files += named.isDir() ? QDir(named.filePath()).entryInfoList(QDir::Files) : QFileInfoList {named};
    }
    for (const QFileInfo& info : std::as_const(files)) {
        static_cast<void>(std::printf("%s\n", qPrintable(info.filePath())));
        static_cast<void>(std::fflush(stdout));
        QFile file(info.filePath());
        if (!file.open(QIODevice::ReadOnly)) {
            static_cast<void>(std::fprintf(stderr, "Cannot be read: %s\n", qPrintable(file.errorString())));
            return 1;
        }
        const QByteArray bytes = file.readAll();
        // A buffer of exactly this size, so that the address sanitizer sees a read beyond it.
        const std::vector<uint8_t> input(bytes.begin(), bytes.end());
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    static_cast<void>(std::printf("%d inputs without a finding\n", static_cast<int>(files.size())));
    return files.isEmpty() ? 2 : 0;
}

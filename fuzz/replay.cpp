#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cstdio>

/**
 * @file
 * @brief Runs the inputs in a folder through a fuzz target, for compilers without libFuzzer.
 */

extern "C" int LLVMFuzzerTestOneInput(uchar const *bytes, std::size_t size);

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    QDir const folder(QString::fromLocal8Bit(argv[1]));
    QStringList const names = folder.entryList(QDir::Files, QDir::Name);
    if (names.isEmpty()) {
        std::fprintf(stderr, "%s: no input in %s\n", argv[0], argv[1]);
        return 1;
    }
    for (QString const &name : names) {
        QFile file(folder.filePath(name));
        // Said beforehand, since an input that fails ends the program.
        std::puts(qPrintable(file.fileName()));
        std::fflush(stdout);
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "%s: %s\n", qPrintable(file.fileName()), qPrintable(file.errorString()));
            return 1;
        }
        QByteArray const input = file.readAll();
        LLVMFuzzerTestOneInput(reinterpret_cast<uchar const *>(input.constData()),
                               static_cast<std::size_t>(input.size()));
    }
    return 0;
}

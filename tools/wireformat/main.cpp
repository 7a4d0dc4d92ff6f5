#include <wireformat/doccomments.h>
#include <wireformat/document.h>
#include <wireformat/schema.h>

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QSaveFile>

#include <cstdio>

/**
 * @file
 * @brief Writes the wire format as a document and as a JSON Schema: what the library knows of it, with the words of the
 * source tree's doc comments.
 */

namespace {

int fail(QString const &reason)
{
    std::fprintf(stderr, "stbanalytics-wireformat: %s\n", qPrintable(reason));
    return 1;
}

/// Returns what is wrong, and an empty string when nothing is.
QString write(QString const &fileName, QByteArray const &bytes)
{
    QSaveFile file(fileName);
    if (!QDir().mkpath(QFileInfo(fileName).path()) || !file.open(QIODevice::WriteOnly) || file.write(bytes) < 0
        || !file.commit())
        return fileName + QStringLiteral(": ") + file.errorString();
    return {};
}

} // namespace

int main(int argc, char **argv)
{
    using namespace wireformat;

    if (argc != 3) {
        std::fputs("usage: stbanalytics-wireformat SOURCES FOLDER\n"
                   "Reads the comments in the source tree SOURCES, and writes docs/receiver/wire-format.md and\n"
                   "schema/stbanalytics-events.schema.json into FOLDER.\n",
                   stderr);
        return 2;
    }
    QDir const sources(QString::fromLocal8Bit(argv[1]));
    QDir const folder(QString::fromLocal8Bit(argv[2]));

    DocComments comments;
    for (auto const *header : {"analytics/enums.h", "analytics/records.h"}) {
        if (QString const problem = comments.read(sources.filePath(QLatin1String(header))); !problem.isEmpty())
            return fail(problem);
    }
    QFile introduction(sources.filePath(QStringLiteral("tools/wireformat/introduction.md")));
    if (!introduction.open(QIODevice::ReadOnly))
        return fail(introduction.fileName() + QStringLiteral(": ") + introduction.errorString());

    QByteArray const document = introduction.readAll() + '\n' + makeDocument(comments);
    QByteArray const schema = makeSchema(comments, QStringLiteral(STBANALYTICS_VERSION));
    if (!comments.missing().isEmpty())
        return fail(QStringLiteral("no doc comment for ") + comments.missing().join(QStringLiteral(", ")));

    for (auto const &[name, bytes] : {std::pair("docs/receiver/wire-format.md", document),
                                      std::pair("schema/stbanalytics-events.schema.json", schema)}) {
        if (QString const problem = write(folder.filePath(QLatin1String(name)), bytes); !problem.isEmpty())
            return fail(problem);
    }
    return 0;
}

#include "random/randomevents.h"

#include <analytics/jsoneventserializer.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonValue>
#include <QtCore/QLoggingCategory>

#include <algorithm>
#include <cstdio>

/**
 * @file
 * @brief Prints the events that the inputs of a fuzz target's corpus draw, one a line: values of any type for any
 * property.
 */

/// A provider's own JSON may hold a number that JSON has no form for. It is written as null, which nothing else is.
static bool isWrittenAsNull(QVariant const &value)
{
    QJsonValue const json = value.toJsonValue();
    return value.typeId() == QMetaType::QJsonValue && json.isDouble() && !qIsFinite(json.toDouble());
}

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    QCoreApplication const application(argc, argv); // Some values point to it.
    QLoggingCategory::setFilterRules(QStringLiteral("stbanalytics=false"));
    recordKindsInUse = allRecordKinds;

    QDir const folder(QString::fromLocal8Bit(argv[1]));
    for (QString const &name : folder.entryList(QDir::Files, QDir::Name)) {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "%s: %s\n", qPrintable(file.fileName()), qPrintable(file.errorString()));
            return 1;
        }
        QByteArray const input = file.readAll();
        Event event(Random(reinterpret_cast<uchar const *>(input.constData()), static_cast<std::size_t>(input.size())));
        QByteArray const json = event.serializedBy(analytics::JsonEventSerializer()).bytes;
        bool const isForNoType = json.isEmpty();
        if (!isForNoType && std::none_of(event.values().begin(), event.values().end(), isWrittenAsNull))
            std::printf("%s\n", json.constData());
    }
    return 0;
}

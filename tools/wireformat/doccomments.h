#pragma once

#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace wireformat {

/// The doc comments of the library's headers, which tell meanings, units and standards.
class DocComments
{
public:
    /// Reads a header. Returns what is wrong, and an empty string when nothing is.
    QString read(QString const &fileName);

    /// The comment of an enumeration or a record.
    QString of(QString const &scope) const { return of(scope, QString()); }

    /// The comment of an enumerator or a field.
    QString of(QString const &scope, QString const &name) const;

    /// The names that have no comment though somebody asked for it, each once.
    QStringList const &missing() const { return m_missing; }

private:
    QHash<QString, QString> m_comments; ///< By scope, and by scope::name.
    mutable QStringList m_missing;
};

} // namespace wireformat

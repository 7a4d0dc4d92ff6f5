#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace wireformat {

class DocComments;

/// The wire format as a JSON Schema (draft 2020-12) of packages.
QByteArray makeSchema(DocComments const &comments, QString const &version);

} // namespace wireformat

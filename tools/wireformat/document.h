#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace wireformat {

class DocComments;
struct Member;

/// What the wire format holds, for people, in Markdown: its events, properties and records.
QByteArray makeDocument(DocComments const &comments);

/// What a member of a record means. A record's fields are called after their keys; an object inside has no meaning of
/// its own, and where the record has no name its members have none.
QString meaningOf(QString const &record, Member const &member, DocComments const &comments);

} // namespace wireformat

#include <wireformat/doccomments.h>

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>

namespace wireformat {

QString DocComments::read(QString const &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return fileName + QStringLiteral(": ") + file.errorString();

    static QRegularExpression const commentLine(QStringLiteral("^(?:///|/\\*\\*| \\*/?)(?: @brief)? ?(.*)$"));
    static QRegularExpression const scopeLine(QStringLiteral("^(?:enum class|struct) (\\w+)"));
    static QRegularExpression const memberLine(QStringLiteral("^    (?:[^=]* )?(\\w+)(?: = \\w+)?[,;] ///< (.+)$"));

    QString scope;
    QStringList comment;
    QStringList const lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    for (QString const &line : lines) {
        if (auto const match = commentLine.match(line); match.hasMatch()) {
            comment.append(match.captured(1));
            continue;
        }
        if (auto const match = scopeLine.match(line); match.hasMatch()) {
            scope = match.captured(1);
            m_comments.insert(scope, comment.join(QLatin1Char(' ')).simplified());
        } else if (auto const member = memberLine.match(line); member.hasMatch()) {
            m_comments.insert(scope + QStringLiteral("::") + member.captured(1), member.captured(2));
        }
        comment.clear();
    }
    return {};
}

QString DocComments::of(QString const &scope, QString const &name) const
{
    QString const fullName = name.isEmpty() ? scope : scope + QStringLiteral("::") + name;
    QString comment = m_comments.value(fullName);
    if (comment.isEmpty() && !m_missing.contains(fullName))
        m_missing.append(fullName);
    return comment;
}

} // namespace wireformat

#include <logging/logging.h>

#include <QtCore/QLoggingCategory>
#include <QtTest/QtTest>

namespace {

struct Line
{
    QtMsgType type;
    QByteArray category;
    QByteArray file;
    QByteArray function;
    int line;
    QString text;
};

QList<Line> lines;

} // namespace

class TestStandinLogging : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void levels_data();
    void levels();
    void lineAsGiven();
    void rules();

private:
    QtMessageHandler m_previousHandler = nullptr;
};

void TestStandinLogging::init()
{
    lines.clear();
    QLoggingCategory::setFilterRules(QString());
    m_previousHandler
        = qInstallMessageHandler([](QtMsgType type, QMessageLogContext const &context, QString const &text) {
              lines.append({type, context.category, context.file, context.function, context.line, text});
          });
}

void TestStandinLogging::cleanup()
{
    qInstallMessageHandler(m_previousHandler);
}

void TestStandinLogging::levels_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<QtMsgType>("type");

    QTest::newRow("0") << 0 << QtCriticalMsg;
    QTest::newRow("1") << 1 << QtCriticalMsg;
    QTest::newRow("2") << 2 << QtWarningMsg;
    QTest::newRow("3") << 3 << QtInfoMsg;
    QTest::newRow("4") << 4 << QtDebugMsg;
    QTest::newRow("5") << 5 << QtDebugMsg;
}

void TestStandinLogging::levels()
{
    QFETCH(int, level);
    QFETCH(QtMsgType, type);

    logging::toLog(level, "box.player", QString(), 0, "", "") << "text";
    QCOMPARE(lines.size(), 1);
    QCOMPARE(lines[0].type, type);
    QCOMPARE(lines[0].category, QByteArray("box.player"));
}

void TestStandinLogging::lineAsGiven()
{
    logging::toLog(4, "box", QStringLiteral("a \"message\""), 12, "player.cpp", "play")
        << "then" << QStringLiteral("q");
    QCOMPARE(lines.size(), 1);
    QCOMPARE(lines[0].text, QStringLiteral("a \"message\" then \"q\""));
    QCOMPARE(lines[0].line, 12);
    QCOMPARE(lines[0].file, QByteArray("player.cpp"));
    QCOMPARE(lines[0].function, QByteArray("play"));
}

void TestStandinLogging::rules()
{
    QLoggingCategory::setFilterRules(QStringLiteral("box.quiet.debug=false"));
    logging::toLog(4, "box.quiet", QString(), 0, "", "") << "lost";
    logging::toLog(3, "box.quiet", QString(), 0, "", "") << "kept";
    logging::toLog(4, "box.loud", QString(), 0, "", "") << "kept too";
    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines[0].text, QStringLiteral("kept"));
    QCOMPARE(lines[1].text, QStringLiteral("kept too"));

    // Rules also reach a category that has been used before.
    QLoggingCategory::setFilterRules(QStringLiteral("box.loud.debug=false"));
    logging::toLog(4, "box.quiet", QString(), 0, "", "") << "back";
    logging::toLog(4, "box.loud", QString(), 0, "", "") << "lost";
    QCOMPARE(lines.size(), 3);
    QCOMPARE(lines[2].text, QStringLiteral("back"));
}

QTEST_GUILESS_MAIN(TestStandinLogging)
#include "tst_standinlogging.moc"

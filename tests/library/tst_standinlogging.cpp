#include "logcapture.h"

#include <logging/logging.h>

#include <QtTest/QtTest>

#include <optional>

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
    std::optional<LogCapture> m_log;
};

void TestStandinLogging::init()
{
    m_log.emplace(QString());
}

void TestStandinLogging::cleanup()
{
    m_log.reset();
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
    QCOMPARE(LogCapture::lines.size(), 1);
    QCOMPARE(LogCapture::lines[0].type, type);
    QCOMPARE(LogCapture::lines[0].category, QByteArray("box.player"));
}

void TestStandinLogging::lineAsGiven()
{
    logging::toLog(4, "box", QStringLiteral("a \"message\""), 12, "player.cpp", "play")
        << "then" << QStringLiteral("q");
    QCOMPARE(LogCapture::lines.size(), 1);
    QCOMPARE(LogCapture::lines[0].text, QStringLiteral("a \"message\" then \"q\""));
    QCOMPARE(LogCapture::lines[0].line, 12);
    QCOMPARE(LogCapture::lines[0].file, QByteArray("player.cpp"));
    QCOMPARE(LogCapture::lines[0].function, QByteArray("play"));
}

void TestStandinLogging::rules()
{
    QLoggingCategory::setFilterRules(QStringLiteral("box.quiet.debug=false"));
    logging::toLog(4, "box.quiet", QString(), 0, "", "") << "lost";
    logging::toLog(3, "box.quiet", QString(), 0, "", "") << "kept";
    logging::toLog(4, "box.loud", QString(), 0, "", "") << "kept too";
    QCOMPARE(LogCapture::lines.size(), 2);
    QCOMPARE(LogCapture::lines[0].text, QStringLiteral("kept"));
    QCOMPARE(LogCapture::lines[1].text, QStringLiteral("kept too"));

    // Rules also reach a category that has been used before.
    QLoggingCategory::setFilterRules(QStringLiteral("box.loud.debug=false"));
    logging::toLog(4, "box.quiet", QString(), 0, "", "") << "back";
    logging::toLog(4, "box.loud", QString(), 0, "", "") << "lost";
    QCOMPARE(LogCapture::lines.size(), 3);
    QCOMPARE(LogCapture::lines[2].text, QStringLiteral("back"));
}

QTEST_GUILESS_MAIN(TestStandinLogging)
#include "tst_standinlogging.moc"

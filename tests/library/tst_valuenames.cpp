#include <analytics/valuenames.h>

#include <QtTest/QtTest>

using namespace analytics;

class TestValueNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void names_data();
    void names();
    void sizes();
    void sameTableOnEveryCall();
    void outsideTheEnumeration();
};

void TestValueNames::names_data()
{
    QTest::addColumn<QLatin1String>("found");
    QTest::addColumn<QByteArray>("name");

    // clang-format off
    QTest::newRow("PlaybackStatus::Play")        << playbackStatusToName().value(PlaybackStatus::Play)        << QByteArray("play");
    QTest::newRow("PlaybackStatus::Pause")       << playbackStatusToName().value(PlaybackStatus::Pause)       << QByteArray("pause");
    QTest::newRow("PlaybackStatus::Rewind")      << playbackStatusToName().value(PlaybackStatus::Rewind)      << QByteArray("rw");
    QTest::newRow("PlaybackStatus::FastForward") << playbackStatusToName().value(PlaybackStatus::FastForward) << QByteArray("ff");
    QTest::newRow("PlaybackStatus::Stop")        << playbackStatusToName().value(PlaybackStatus::Stop)        << QByteArray("stop");
    QTest::newRow("PlaybackStatus::Error")       << playbackStatusToName().value(PlaybackStatus::Error)       << QByteArray("error");

    QTest::newRow("MediaType::Unknown")      << mediaTypeToName().value(MediaType::Unknown)      << QByteArray("unknown");
    QTest::newRow("MediaType::Live")         << mediaTypeToName().value(MediaType::Live)         << QByteArray("live");
    QTest::newRow("MediaType::PauseLive")    << mediaTypeToName().value(MediaType::PauseLive)    << QByteArray("pause_live");
    QTest::newRow("MediaType::Archive")      << mediaTypeToName().value(MediaType::Archive)      << QByteArray("archive");
    QTest::newRow("MediaType::SavedEpg")     << mediaTypeToName().value(MediaType::SavedEpg)     << QByteArray("saved_epg");
    QTest::newRow("MediaType::Vod")          << mediaTypeToName().value(MediaType::Vod)          << QByteArray("vod");
    QTest::newRow("MediaType::SavedVod")     << mediaTypeToName().value(MediaType::SavedVod)     << QByteArray("saved_vod");
    QTest::newRow("MediaType::File")         << mediaTypeToName().value(MediaType::File)         << QByteArray("file");
    QTest::newRow("MediaType::Ad")           << mediaTypeToName().value(MediaType::Ad)           << QByteArray("ad");
    QTest::newRow("MediaType::Promo")        << mediaTypeToName().value(MediaType::Promo)        << QByteArray("promo");
    QTest::newRow("MediaType::SplashScreen") << mediaTypeToName().value(MediaType::SplashScreen) << QByteArray("splash_screen");
    QTest::newRow("MediaType::Screensaver")  << mediaTypeToName().value(MediaType::Screensaver)  << QByteArray("screensaver");

    QTest::newRow("SettingType::Unknown")      << settingTypeToName().value(SettingType::Unknown)      << QByteArray("unknown");
    QTest::newRow("SettingType::UiResolution") << settingTypeToName().value(SettingType::UiResolution) << QByteArray("ui_resolution");
    QTest::newRow("SettingType::FontSize")     << settingTypeToName().value(SettingType::FontSize)     << QByteArray("font_size");
    QTest::newRow("SettingType::AudioLevel")   << settingTypeToName().value(SettingType::AudioLevel)   << QByteArray("audio_level");
    QTest::newRow("SettingType::Mute")         << settingTypeToName().value(SettingType::Mute)         << QByteArray("mute");
    QTest::newRow("SettingType::RcuLayout")    << settingTypeToName().value(SettingType::RcuLayout)    << QByteArray("rcu_layout");
    QTest::newRow("SettingType::Led")          << settingTypeToName().value(SettingType::Led)          << QByteArray("led");
    QTest::newRow("SettingType::Downmix")      << settingTypeToName().value(SettingType::Downmix)      << QByteArray("downmix");

    QTest::newRow("RestoreReasonType::Unknown") << restoreReasonTypeToName().value(RestoreReasonType::Unknown) << QByteArray("unknown");
    QTest::newRow("RestoreReasonType::Auto")    << restoreReasonTypeToName().value(RestoreReasonType::Auto)    << QByteArray("auto");
    QTest::newRow("RestoreReasonType::User")    << restoreReasonTypeToName().value(RestoreReasonType::User)    << QByteArray("user");

    QTest::newRow("WidgetName::Unknown") << widgetNameToName().value(WidgetName::Unknown) << QByteArray("unknown");
    QTest::newRow("WidgetName::Vex")     << widgetNameToName().value(WidgetName::Vex)     << QByteArray("VEX");
    QTest::newRow("WidgetName::Lu")      << widgetNameToName().value(WidgetName::Lu)      << QByteArray("LU");
    QTest::newRow("WidgetName::Dap")     << widgetNameToName().value(WidgetName::Dap)     << QByteArray("DAP");
    // clang-format on
}

void TestValueNames::names()
{
    QFETCH(QLatin1String, found);
    QFETCH(QByteArray, name);
    QCOMPARE(QByteArray(found.data(), found.size()), name);
}

void TestValueNames::sizes()
{
    QCOMPARE(settingTypeToName().size(), 8);
    QCOMPARE(mediaTypeToName().size(), 12);
    QCOMPARE(playbackStatusToName().size(), 6);
    QCOMPARE(restoreReasonTypeToName().size(), 3);
    QCOMPARE(widgetNameToName().size(), 4);
}

void TestValueNames::sameTableOnEveryCall()
{
    QCOMPARE(&settingTypeToName(), &settingTypeToName());
    QCOMPARE(&mediaTypeToName(), &mediaTypeToName());
    QCOMPARE(&playbackStatusToName(), &playbackStatusToName());
    QCOMPARE(&restoreReasonTypeToName(), &restoreReasonTypeToName());
    QCOMPARE(&widgetNameToName(), &widgetNameToName());
}

void TestValueNames::outsideTheEnumeration()
{
    QLatin1String const name = settingTypeToName().value(static_cast<SettingType>(8));
    QVERIFY(name.isNull());
    QCOMPARE(name.size(), 0);
}

QTEST_GUILESS_MAIN(TestValueNames)
#include "tst_valuenames.moc"

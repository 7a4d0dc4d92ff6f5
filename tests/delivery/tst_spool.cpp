#include "spoolsupport.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QMap>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtCore/QTemporaryDir>
#include <QtCore/QUuid>
#include <QtCore/QtEndian>
#include <QtTest/QTest>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <memory>
#include <random>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace stbanalytics::delivery;

/// What the two clocks show that the spool looks at.
static qint64 wallTime = 1'700'000'000;
static qint64 sinceBoot = 50;

// Takes the place of the C library's own in this program.
extern "C" int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    if (clock != CLOCK_REALTIME && clock != CLOCK_BOOTTIME)
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    *time = {};
    time->tv_sec = static_cast<time_t>(clock == CLOCK_REALTIME ? wallTime : sinceBoot);
    return 0;
}

// Nobody pulls the plug here, so nobody has to wait for the disk.
extern "C" int fsync(int)
{
    return 0;
}

extern "C" int fdatasync(int)
{
    return 0;
}

/// What keys are made of.
static std::mt19937 chanceOfKeys;

// Takes the place of Qt's own in this program: how long a key's checksum is, and so what is where in a file, is to be
// the same whenever a run is repeated.
QUuid QUuid::createUuid()
{
    QUuid uuid = fromRfc4122(randomBytes(chanceOfKeys, 16));
    uuid.data3 = static_cast<ushort>(0x4000 | (uuid.data3 & 0x0fff));
    uuid.data4[0] = static_cast<uchar>(0x80 | (uuid.data4[0] & 0x3f));
    return uuid;
}

class tst_Spool : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void order_data();
    void order();
    void limitsOfTaking_data();
    void limitsOfTaking();
    void givenBack();
    void reopened();
    void deliveredIsGone();
    void refusedIsSetAside();
    void rows();

    void quota_data();
    void quota();
    void quotaAfterReopening();
    void quotaSparesWhatIsTaken();
    void tooLargeForTheQuota();
    void countsDropped();
    void age();
    void ageSparesWhatIsTaken();
    void ageWhileOff_data();
    void ageWhileOff();
    void tooOldAndTooMuch();
    void clock_data();
    void clock();
    void clockGoesOn();

    void oneHostPerFolder();
    void unusableFolder_data();
    void unusableFolder();
    void diskFull();
    void diskFullWhileSending();
    void memoryLimit();
    void memoryLimitIsOfUnsaved();
    void memoryLimitSparesWhatIsTaken();
    void rolledBack();
    void logLimit_data();
    void logLimit();
    void files();
    void firstVersion();

    void brokenPage_data();
    void brokenPage();
    void brokenPages();
    void indexWithoutEntry();
    void brokenIndex_data();
    void brokenIndex();
    void brokenFirstPages();
    void changedFirstPage();
    void changedLetter_data();
    void changedLetter();
    void changedLetterBeforeSave();
    void changedLetterOnAFullDisk();
    void changedClass_data();
    void changedClass();
    void changedState_data();
    void changedState();
    void brokenWhileInUse_data();
    void brokenWhileInUse();
    void notASpool_data();
    void notASpool();
    void interruptedRescue_data();
    void interruptedRescue();
    void damageByChance();

private:
    QString folder() const { return m_directory->path(); }

    void keep(Image const &image);
    void compareWithOriginals(QList<Package> const &packages) const;
    void goesOn(std::unique_ptr<Spool> spool) const;
    QString noticeOf(qint64 rescued, qint64 lost) const;

    std::unique_ptr<QTemporaryDir> m_directory;
};

void tst_Spool::initTestCase()
{
    qInfo("STBANALYTICS_SEED=%u repeats this run", seed());
}

void tst_Spool::init()
{
    wallTime = 1'700'000'000;
    sinceBoot = 50;
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(m_directory->isValid());
}

void tst_Spool::order_data()
{
    QTest::addColumn<QByteArray>("saved");
    QTest::addColumn<QByteArray>("unsaved");
    QTest::addColumn<bool>("isReopened");

    QTest::newRow("in memory") << QByteArray() << QByteArray("n1 h2 n3 h4 n5") << false;
    QTest::newRow("on disk") << QByteArray("n1 h2 n3 h4 n5") << QByteArray() << false;
    QTest::newRow("reopened") << QByteArray("n1 h2 n3 h4 n5") << QByteArray() << true;
    QTest::newRow("half of it") << QByteArray("n1 h2 n3") << QByteArray("h4 n5") << false;
    QTest::newRow("high in memory") << QByteArray("n1") << QByteArray("h2 n3 h4 n5") << false;
}

void tst_Spool::order()
{
    QFETCH(QByteArray, saved);
    QFETCH(QByteArray, unsaved);
    QFETCH(bool, isReopened);

    auto spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    QCOMPARE(spool->pending(), 0);
    QVERIFY(spool->take(everything, everything).isEmpty());
    if (!saved.isEmpty())
        addWords(*spool, saved);
    QVERIFY(spool->save());
    if (!unsaved.isEmpty())
        addWords(*spool, unsaved);
    if (isReopened) {
        spool.reset();
        spool = std::make_unique<Spool>(SpoolLimits());
        QCOMPARE(spool->open(folder()), QString());
    }

    qint64 pending = 5;
    for (QByteArray const &words : {QByteArray("h2"), QByteArray("h4"), QByteArray("n1 n3 n5"), QByteArray()}) {
        QCOMPARE(spool->pending(), pending);
        QCOMPARE(wordsOf(spool->take(everything, everything)), words);
        QCOMPARE(wordsOf(spool->taken()), words);
        // It waits until it is delivered.
        QCOMPARE(spool->pending(), pending);
        pending -= spool->taken().size();
        spool->delivered();
    }
    QCOMPARE(spool->pending(), 0);
    QCOMPARE(spool->losses().total(), 0);
}

void tst_Spool::limitsOfTaking_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<int>("count");
    QTest::addColumn<QByteArray>("words");

    // clang-format off
    QTest::newRow("all")                  << qint64(150) << 3 << QByteArray("n1 n2 n3");
    QTest::newRow("a byte too few")       << qint64(149) << 3 << QByteArray("n1 n2");
    QTest::newRow("two")                  << qint64(100) << 3 << QByteArray("n1 n2");
    QTest::newRow("a byte too few, two")  << qint64(99)  << 3 << QByteArray("n1");
    QTest::newRow("one larger than that") << qint64(1)   << 3 << QByteArray("n1");
    QTest::newRow("so many")              << qint64(150) << 2 << QByteArray("n1 n2");
    QTest::newRow("one by one")           << qint64(150) << 1 << QByteArray("n1");
    // clang-format on
}

void tst_Spool::limitsOfTaking()
{
    QFETCH(qint64, bytes);
    QFETCH(int, count);
    QFETCH(QByteArray, words);

    for (int saved = 0; saved <= 3; ++saved) {
        QTemporaryDir directory;
        Spool spool({});
        QCOMPARE(spool.open(directory.path()), QString());
        for (int i = 0; i < 3; ++i) {
            if (i == saved)
                QVERIFY(spool.save());
            addWords(spool, QByteArray("n") + char('1' + i));
        }
        if (saved == 3)
            QVERIFY(spool.save());
        QCOMPARE(wordsOf(spool.take(bytes, count)), words);
    }
}

void tst_Spool::givenBack()
{
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    addWords(spool, "n1 n2");
    QVERIFY(spool.save());
    addWords(spool, "n3");

    QList<Package> const packages = spool.take(everything, everything);
    QCOMPARE(wordsOf(packages), QByteArray("n1 n2 n3"));
    spool.giveBack();
    QVERIFY(spool.taken().isEmpty());
    QCOMPARE(spool.pending(), 3);
    QVERIFY(spool.save());
    QCOMPARE(keysOf(spool.take(everything, everything)), keysOf(packages));
}

void tst_Spool::reopened()
{
    // Whatever the bytes are: they are not the spool's business.
    QByteArray allBytes;
    for (int byte = 0; byte < 256; ++byte)
        allBytes += static_cast<char>(byte);
    QList<QByteArray> const bodies
        = {allBytes, "{\"events\":[{\"san\":\"\xC3\xA9\"}]}", QByteArray(100'000, 'x'), allBytes};
    QList<QByteArray> keys;
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        for (QByteArray const &body : bodies)
            spool.add(body, false);
        QVERIFY(spool.save());
        QVERIFY(spool.unsaved().empty());
        keys = keysOf(spool.take(everything, everything));
    }
    QRegularExpression const uuid(
        QStringLiteral("^[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$"));
    for (QByteArray const &key : std::as_const(keys))
        QVERIFY2(uuid.match(QString::fromLatin1(key)).hasMatch(), key.constData());
    QCOMPARE(QSet<QByteArray>(keys.begin(), keys.end()).size(), 4);

    for (int i = 0; i < 2; ++i) {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        QCOMPARE(spool.takeNotice(), QString());
        QCOMPARE(spool.pending(), 4);
        QCOMPARE(bodiesOf(spool.take(everything, everything)), bodies);
        QCOMPARE(keysOf(spool.taken()), keys);
    }
}

void tst_Spool::deliveredIsGone()
{
    Image sentButNotSaved;
    QByteArray key;
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        addWords(spool, "n1 n2 n3");
        QVERIFY(spool.save());
        key = spool.take(everything, 1).first().key;
        spool.delivered();
        QCOMPARE(spool.pending(), 2);
        sentButNotSaved = imageOf(folder());

        // Not sent again, though the disk still has it.
        QCOMPARE(wordsOf(spool.take(everything, 1)), QByteArray("n2"));
        spool.delivered();
        QVERIFY(spool.save());
        QCOMPARE(spool.pending(), 1);
    }
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        QCOMPARE(spool.pending(), 1);
        QCOMPARE(wordsOf(delivered(spool)), QByteArray("n3"));
    }

    // After a power-off it goes out again, and the collector knows it by its key.
    writeImage(folder(), sentButNotSaved);
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(spool.pending(), 3);
    QCOMPARE(spool.take(everything, 1).first().key, key);
}

void tst_Spool::refusedIsSetAside()
{
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        addWords(spool, "n1");
        QVERIFY(spool.save());
        addWords(spool, "n2 n3");
        spool.take(everything, 2);
        spool.refused(QStringLiteral("HTTP 422 näh"));
        QCOMPARE(spool.refusedCount(), 2);
        QCOMPARE(spool.losses().refused, 2);
        QCOMPARE(spool.pending(), 1);
        QCOMPARE(wordsOf(spool.take(everything, everything)), QByteArray("n3"));
        spool.giveBack();
        QVERIFY(spool.save());
        QCOMPARE(spool.refusedCount(), 2);
        QCOMPARE(spool.pending(), 1);
    }
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        QCOMPARE(spool.refusedCount(), 2);
        QCOMPARE(spool.pending(), 1);
        QCOMPARE(wordsOf(delivered(spool)), QByteArray("n3"));
        QCOMPARE(spool.losses().total(), 0);
    }
    QCOMPARE(sql(databaseOf(folder()),
                 "SELECT group_concat(rtrim(body, '.') || ': ' || reason) FROM package WHERE class = 0"),
             QByteArray("n1: HTTP 422 n\xC3\xA4h,n2: HTTP 422 n\xC3\xA4h"));
}

void tst_Spool::rows()
{
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    // The file of a spool that is in use is another's to read only as a copy.
    auto const read = [this](QByteArray const &text) {
        QTemporaryDir copy;
        writeImage(copy.path(), imageOf(folder()));
        return sql(databaseOf(copy.path()), text);
    };
    QByteArray const packages = "SELECT id, class, created, length(key), rtrim(body, '.'), ifnull(reason, 'NULL')"
                                " FROM package ORDER BY id";
    QByteArray const state = "SELECT id, time, wall_time, lost_to_quota, lost_to_age, lost_to_damage, refused, packages"
                             " FROM state";
    sinceBoot += 20;
    addWords(spool, "n1! n2");
    QVERIFY(spool.save());
    sinceBoot += 7;
    wallTime += 5;
    addWords(spool, "h3 n4 n5 h6");
    QCOMPARE(read(packages),
             QByteArray("1|0|20|36|n1|why not\n"
                        "2|1|20|36|n2|"));
    QCOMPARE(read(state), QByteArray("1|20|1700000000|0|0|0|1|2"));
    spool.countDropped(8);
    QVERIFY(spool.save());
    QCOMPARE(read(packages),
             QByteArray("1|0|20|36|n1|why not\n"
                        "2|1|20|36|n2|\n"
                        "3|2|27|36|h3|\n"
                        "4|1|27|36|n4|\n"
                        "5|1|27|36|n5|\n"
                        "6|2|27|36|h6|"));
    QCOMPARE(read(state), QByteArray("1|27|1700000005|8|0|0|1|6"));

    QCOMPARE(wordsOf(spool.take(everything, everything)), QByteArray("h3"));
    spool.delivered();
    QCOMPARE(wordsOf(spool.take(everything, everything)), QByteArray("h6"));
    spool.refused(QStringLiteral("nor that"));
    QCOMPARE(wordsOf(spool.take(everything, 2)), QByteArray("n2 n4"));
    spool.delivered();
    QVERIFY(spool.save());
    QCOMPARE(read(packages),
             QByteArray("1|0|20|36|n1|why not\n"
                        "5|1|27|36|n5|\n"
                        "6|0|27|36|h6|nor that"));
    QCOMPARE(read(state), QByteArray("1|27|1700000005|8|0|0|2|3"));
    QCOMPARE(read("SELECT group_concat(id) FROM (SELECT id FROM package INDEXED BY waiting ORDER BY class, id)"),
             QByteArray("1,6,5"));
}

void tst_Spool::quota_data()
{
    QTest::addColumn<QByteArray>("added");
    QTest::addColumn<QByteArray>("left");
    QTest::addColumn<int>("refused");
    QTest::addColumn<int>("lost");

    // clang-format off
    QTest::newRow("full")                  << QByteArray("n1 n2 n3 n4")       << QByteArray("n1 n2 n3 n4") << 0 << 0;
    QTest::newRow("oldest first")          << QByteArray("n1 n2 n3 n4 n5 n6") << QByteArray("n3 n4 n5 n6") << 0 << 2;
    QTest::newRow("normal before high")    << QByteArray("h1 n2 h3 n4 h5 n6") << QByteArray("h1 h3 h5 n6") << 0 << 2;
    QTest::newRow("the new one")           << QByteArray("h1 h2 h3 h4 n5")    << QByteArray("h1 h2 h3 h4") << 0 << 1;
    QTest::newRow("high last")             << QByteArray("h1 h2 h3 h4 h5")    << QByteArray("h2 h3 h4 h5") << 0 << 1;
    QTest::newRow("refused before normal") << QByteArray("n1 n2! n3 n4 n5")   << QByteArray("n2 n3 n4 n5") << 0 << 0;
    QTest::newRow("refused, high")         << QByteArray("h1! n2 n3 n4 n5")   << QByteArray("n2 n3 n4 n5") << 0 << 0;
    QTest::newRow("oldest refused first")  << QByteArray("n1! n2! n3 n4 n5")  << QByteArray("n3 n4 n5")    << 1 << 0;
    // clang-format on
}

void tst_Spool::quota()
{
    QFETCH(QByteArray, added);
    QFETCH(QByteArray, left);
    QFETCH(int, refused);
    QFETCH(int, lost);

    // All at once, or one after the other, makes no difference.
    for (bool isSavedOneByOne : {false, true}) {
        QTemporaryDir directory;
        {
            Spool spool({1000, std::chrono::hours(1)});
            QCOMPARE(spool.open(directory.path()), QString());
            for (QByteArray const &word : added.split(' ')) {
                addWords(spool, word);
                if (isSavedOneByOne)
                    QVERIFY(spool.save());
            }
            QVERIFY(spool.save());
            QCOMPARE(spool.pending(), left.count(' ') + 1);
            QCOMPARE(spool.refusedCount(), refused);
            QCOMPARE(spool.losses().quota, lost);
        }
        Spool spool({1000, std::chrono::hours(1)});
        QCOMPARE(spool.open(directory.path()), QString());
        QCOMPARE(spool.pending(), left.count(' ') + 1);
        QCOMPARE(spool.refusedCount(), refused);
        QCOMPARE(spool.losses().quota, lost);
        QCOMPARE(spool.losses().total(), lost);
        QCOMPARE(spool.losses().refused, added.count('!'));
        QCOMPARE(wordsOf(delivered(spool)), left);
    }
}

void tst_Spool::quotaAfterReopening()
{
    {
        Spool spool({1000, std::chrono::hours(1)});
        QCOMPARE(spool.open(folder()), QString());
        addWords(spool, "n1! n2 n3 n4");
        QVERIFY(spool.save());
    }
    Spool spool({1000, std::chrono::hours(1)});
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(spool.pending(), 3);
    addWords(spool, "n5 n6");
    QVERIFY(spool.save());
    QCOMPARE(spool.refusedCount(), 0);
    QCOMPARE(spool.losses().quota, 1);
    QCOMPARE(wordsOf(delivered(spool)), QByteArray("n3 n4 n5 n6"));
}

void tst_Spool::quotaSparesWhatIsTaken()
{
    Spool spool({1000, std::chrono::hours(1)});
    QCOMPARE(spool.open(folder()), QString());
    addWords(spool, "n1 n2 n3 n4");
    QVERIFY(spool.save());
    QCOMPARE(wordsOf(spool.take(everything, 2)), QByteArray("n1 n2"));
    addWords(spool, "n5");
    QVERIFY(spool.save());
    QCOMPARE(spool.losses().quota, 1);
    QCOMPARE(wordsOf(spool.taken()), QByteArray("n1 n2"));
    spool.giveBack();
    QCOMPARE(wordsOf(delivered(spool)), QByteArray("n1 n2 n4 n5"));
}

void tst_Spool::tooLargeForTheQuota()
{
    {
        Spool spool({1000, std::chrono::hours(1)});
        QCOMPARE(spool.open(folder()), QString());
        addWords(spool, "n1");
        spool.add(QByteArray(801, 'x'), true);
        QCOMPARE(spool.pending(), 1);
        QVERIFY(spool.save());
        QCOMPARE(spool.losses().quota, 1);
        // One that fits makes room for itself.
        spool.add(QByteArray(800, 'y'), true);
        QVERIFY(spool.save());
    }
    Spool spool({1000, std::chrono::hours(1)});
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(spool.losses().quota, 2);
    QCOMPARE(bodiesOf(delivered(spool)), QList<QByteArray>({QByteArray(800, 'y')}));
}

void tst_Spool::countsDropped()
{
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        spool.countDropped(3);
        spool.countDropped(0);
        QCOMPARE(spool.losses().quota, 3);
        QVERIFY(spool.save());
    }
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(spool.losses().quota, 3);
    QCOMPARE(spool.losses().total(), 3);
}

void tst_Spool::age()
{
    {
        Spool spool({20'000'000, std::chrono::seconds(100)});
        QCOMPARE(spool.open(folder()), QString());
        addWords(spool, "n1 h2 n3!");
        QVERIFY(spool.save());
        sinceBoot += 60;
        addWords(spool, "n4");
        QVERIFY(spool.save());
        sinceBoot += 40;
        addWords(spool, "n5");
        QVERIFY(spool.save());
        QCOMPARE(spool.pending(), 4);
        QCOMPARE(spool.losses().age, 0);
        sinceBoot += 1;
        QVERIFY(spool.save());
        QCOMPARE(spool.pending(), 2);
        QCOMPARE(spool.refusedCount(), 0);
        QCOMPARE(spool.losses().age, 2);
        QCOMPARE(spool.losses().refused, 1);
        // What the wall clock shows meanwhile is of no interest.
        wallTime += 1'000'000;
        QVERIFY(spool.save());
        QCOMPARE(wordsOf(spool.take(everything, everything)), QByteArray("n4 n5"));
    }
    wallTime = 0;
    Spool spool({20'000'000, std::chrono::seconds(100)});
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(spool.losses().age, 2);
    QCOMPARE(spool.losses().total(), 2);
    QCOMPARE(wordsOf(delivered(spool)), QByteArray("n4 n5"));
}

void tst_Spool::ageSparesWhatIsTaken()
{
    Spool spool({20'000'000, std::chrono::seconds(100)});
    QCOMPARE(spool.open(folder()), QString());
    addWords(spool, "n1 n2");
    QVERIFY(spool.save());
    QCOMPARE(wordsOf(spool.take(everything, 1)), QByteArray("n1"));
    sinceBoot += 101;
    QVERIFY(spool.save());
    QCOMPARE(wordsOf(spool.taken()), QByteArray("n1"));
    QCOMPARE(spool.pending(), 1);
    QCOMPARE(spool.losses().age, 1);
    spool.giveBack();
    QVERIFY(spool.save());
    QCOMPARE(spool.pending(), 0);
    QCOMPARE(spool.losses().age, 2);
}

void tst_Spool::ageWhileOff_data()
{
    QTest::addColumn<qint64>("off");
    QTest::addColumn<int>("lost");

    QTest::newRow("not too long") << qint64(100) << 0;
    QTest::newRow("too long") << qint64(101) << 2;
}

void tst_Spool::ageWhileOff()
{
    QFETCH(qint64, off);
    QFETCH(int, lost);

    SpoolLimits const limits{20'000'000, std::chrono::seconds(100)};
    {
        Spool spool(limits);
        QCOMPARE(spool.open(folder()), QString());
        addWords(spool, "n1 h2");
        QVERIFY(spool.save());
    }
    wallTime += off;
    sinceBoot = 3;
    Spool spool(limits);
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(spool.losses().age, lost);
    QCOMPARE(spool.pending(), 2 - lost);
    QCOMPARE(delivered(spool).size(), 2 - lost);
}

void tst_Spool::tooOldAndTooMuch()
{
    Spool spool({1000, std::chrono::seconds(100)});
    QCOMPARE(spool.open(folder()), QString());
    addWords(spool, "n1 n2 n3 n4");
    QVERIFY(spool.save());
    sinceBoot += 101;
    addWords(spool, "n5 n6");
    QVERIFY(spool.save());
    // What goes because of its age leaves room.
    QCOMPARE(spool.losses().age, 4);
    QCOMPARE(spool.losses().quota, 0);
    QCOMPARE(wordsOf(delivered(spool)), QByteArray("n5 n6"));
}

void tst_Spool::clock_data()
{
    QTest::addColumn<qint64>("wallTimeThen");
    QTest::addColumn<qint64>("wallTimeNow");
    QTest::addColumn<qint64>("now");

    // clang-format off
    QTest::newRow("at once")                 << qint64(1'700'000'000) << qint64(1'700'000'000) << qint64(1000);
    QTest::newRow("later")                   << qint64(1'700'000'000) << qint64(1'700'000'500) << qint64(1500);
    QTest::newRow("gone backwards")          << qint64(1'700'000'000) << qint64(1'699'999'000) << qint64(1000);
    QTest::newRow("not set now")             << qint64(1'700'000'000) << qint64(20)            << qint64(1000);
    QTest::newRow("not set then")            << qint64(20)            << qint64(1'700'000'000) << qint64(1000);
    QTest::newRow("not set, neither")        << qint64(20)            << qint64(520)           << qint64(1000);
    QTest::newRow("a second before 2020")    << qint64(1'577'836'799) << qint64(1'577'836'900) << qint64(1000);
    QTest::newRow("the first of 2020")       << qint64(1'577'836'800) << qint64(1'577'836'900) << qint64(1100);
    QTest::newRow("before 1970")             << qint64(-5)            << qint64(1'700'000'000) << qint64(1000);
    // clang-format on
}

void tst_Spool::clock()
{
    QFETCH(qint64, wallTimeThen);
    QFETCH(qint64, wallTimeNow);
    QFETCH(qint64, now);

    sinceBoot = 77;
    wallTime = wallTimeNow;
    SpoolClock clock;
    QCOMPARE(clock.now(), 0);
    clock.resume(1000, wallTimeThen);
    QCOMPARE(clock.now(), now);

    // From there it goes with the seconds since boot, and the wall clock can be set as one likes.
    sinceBoot += 10;
    QCOMPARE(clock.now(), now + 10);
    wallTime = 1'800'000'000;
    QCOMPARE(clock.now(), now + 10);
    wallTime = 0;
    QCOMPARE(clock.now(), now + 10);
}

void tst_Spool::clockGoesOn()
{
    qint64 const start = 1'700'000'000;
    for (qint64 run = 0; run < 3; ++run) {
        wallTime = start + run * 1000;
        sinceBoot = 5;
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        sinceBoot += 300;
        wallTime += 300;
        spool.add("x", false);
        QVERIFY(spool.save());
        QCOMPARE(spool.unsaved().size(), size_t(0));
        QCOMPARE(spool.take(everything, everything).last().created, 300 + 1000 * run);
    }
}

void tst_Spool::oneHostPerFolder()
{
    QString const nested = folder() + QLatin1String("/var/spool");
    auto first = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(first->open(nested), QString());
    addWords(*first, "n1");
    QVERIFY(first->save());
    QCOMPARE(Spool({}).open(nested), QStringLiteral("another host uses it"));
    addWords(*first, "n2");
    QVERIFY(first->save());

    first.reset();
    Spool second({});
    QCOMPARE(second.open(nested), QString());
    QCOMPARE(wordsOf(delivered(second)), QByteArray("n1 n2"));
}

void tst_Spool::unusableFolder_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("problem");

    // Not even root can write there.
    QTest::newRow("cannot be made") << QStringLiteral("/proc/spool") << QStringLiteral("No such file or directory");
    QTest::newRow("cannot be written") << QStringLiteral("/proc/self") << QStringLiteral("Operation not permitted");
    QTest::newRow("a file") << QStringLiteral("/proc/uptime") << QStringLiteral("Not a directory");
    QTest::newRow("below a file") << QStringLiteral("/proc/uptime/spool") << QStringLiteral("Not a directory");
}

void tst_Spool::unusableFolder()
{
    QFETCH(QString, path);
    QFETCH(QString, problem);
    QCOMPARE(Spool({}).open(path), problem);
}

namespace {

/// A disk on which files cannot grow any more, as long as this is there.
class FullDisk
{
public:
    FullDisk()
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit const limit{80'000, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FullDisk(FullDisk const &) = delete;
    FullDisk &operator=(FullDisk const &) = delete;
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &m_before); }

private:
    rlimit m_before{};
};

} // namespace

void tst_Spool::diskFull()
{
    QByteArray const large(200'000, 'x');
    auto spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    addWords(*spool, "n1 n2");
    QVERIFY(spool->save());
    QCOMPARE(spool->problem(), QString());
    {
        FullDisk const full;
        spool->add(large, false);
        QVERIFY(!spool->save());
        QCOMPARE(spool->problem(), QStringLiteral("disk I/O error"));
        QCOMPARE(spool->takeNotice(), QString());
        addWords(*spool, "h4 n5");
        QVERIFY(!spool->save());
        QCOMPARE(spool->unsaved().size(), size_t(3));
        QCOMPARE(spool->pending(), 5);

        // It goes on in memory.
        QCOMPARE(wordsOf(spool->take(everything, everything)), QByteArray("h4"));
        spool->delivered();
        QCOMPARE(wordsOf(spool->take(everything, 1)), QByteArray("n1"));
        spool->delivered();
        QCOMPARE(spool->pending(), 3);
        QCOMPARE(bodiesOf(spool->take(everything, everything)).mid(1, 1), QList<QByteArray>({large}));
        spool->giveBack();
        QVERIFY(!spool->save());
    }
    QVERIFY(spool->save());
    QCOMPARE(spool->problem(), QString());
    QVERIFY(spool->unsaved().empty());
    QCOMPARE(spool->pending(), 3);

    spool.reset();
    spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    QList<Package> const packages = delivered(*spool);
    QCOMPARE(packages.size(), 3);
    QCOMPARE(wordsOf({packages.first(), packages.last()}), QByteArray("n2 n5"));
    QCOMPARE(packages.at(1).body, large);
    QCOMPARE(spool->losses().total(), 0);
}

void tst_Spool::diskFullWhileSending()
{
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        addWords(spool, "n1");
        QVERIFY(spool.save());
        {
            FullDisk const full;
            spool.add(QByteArray(200'000, 'x'), false);
            QVERIFY(!spool.save());
            // Refused and delivered without ever having been on the disk.
            QCOMPARE(spool.take(1, 2).size(), 1);
            spool.delivered();
            QCOMPARE(spool.take(1, 2).first().body.size(), 200'000);
            spool.refused(QStringLiteral("too large"));
            addWords(spool, "n3 n4");
            QCOMPARE(wordsOf(spool.take(50, 2)), QByteArray("n3"));
            spool.delivered();
            QVERIFY(!spool.save());
            QCOMPARE(spool.pending(), 1);
            QCOMPARE(spool.refusedCount(), 1);
        }
        QVERIFY(spool.save());
        QCOMPARE(spool.pending(), 1);
        QCOMPARE(spool.refusedCount(), 1);
    }
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(spool.refusedCount(), 1);
    QCOMPARE(wordsOf(delivered(spool)), QByteArray("n4"));
}

void tst_Spool::memoryLimit()
{
    QCOMPARE(Spool::memoryLimit, 4'000'000);
    auto const add = [](Spool &spool, char name, bool isHigh) { spool.add(QByteArray(999'800, name), isHigh); };
    auto const names = [](std::deque<Package> const &packages) {
        QByteArray result;
        for (Package const &package : packages)
            result += package.body.at(0);
        return result;
    };
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        {
            FullDisk const full;
            add(spool, 'a', true);
            add(spool, 'b', false);
            add(spool, 'c', false);
            add(spool, 'd', true);
            QVERIFY(!spool.save());
            QCOMPARE(names(spool.unsaved()), QByteArray("abcd"));
            QCOMPARE(spool.losses().quota, 0);

            add(spool, 'e', false);
            QVERIFY(!spool.save());
            QCOMPARE(names(spool.unsaved()), QByteArray("acde"));
            add(spool, 'f', true);
            add(spool, 'g', true);
            QVERIFY(!spool.save());
            QCOMPARE(names(spool.unsaved()), QByteArray("adfg"));
            QCOMPARE(spool.losses().quota, 3);

            // What is under way stays, and where all are of high priority, the oldest goes.
            QCOMPARE(spool.take(everything, everything).first().body.at(0), 'a');
            add(spool, 'h', true);
            QVERIFY(!spool.save());
            QCOMPARE(names(spool.unsaved()), QByteArray("afgh"));
            QCOMPARE(spool.losses().quota, 4);
            QCOMPARE(spool.pending(), 4);
            spool.delivered();
            QCOMPARE(spool.pending(), 3);
            // It has left room.
            add(spool, 'i', true);
            QVERIFY(!spool.save());
            QCOMPARE(names(spool.unsaved()), QByteArray("fghi"));
        }
        QVERIFY(spool.save());
    }
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(spool.losses().quota, 4);
    QCOMPARE(spool.pending(), 4);
}

void tst_Spool::memoryLimitIsOfUnsaved()
{
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    spool.add(QByteArray(3'000'000, 'a'), false);
    QVERIFY(spool.save());
    FullDisk const full;
    spool.add(QByteArray(3'000'000, 'b'), false);
    QVERIFY(!spool.save());
    QCOMPARE(spool.unsaved().size(), size_t(1));
    QCOMPARE(spool.losses().quota, 0);
}

void tst_Spool::memoryLimitSparesWhatIsTaken()
{
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    FullDisk const full;
    for (char name : QByteArray("abcd"))
        spool.add(QByteArray(999'800, name), false);
    QVERIFY(!spool.save());
    QCOMPARE(spool.take(1, 1).first().body.at(0), 'a');
    spool.add(QByteArray(999'800, 'e'), false);
    QVERIFY(!spool.save());
    QCOMPARE(spool.unsaved().front().body.at(0), 'a');
    QCOMPARE(spool.losses().quota, 1);
    spool.delivered();
    QCOMPARE(spool.pending(), 3);
    QList<Package> const packages = delivered(spool);
    QCOMPARE(packages.size(), 3);
    QCOMPARE(packages.at(0).body.at(0), 'c');
    QCOMPARE(packages.at(1).body.at(0), 'd');
    QCOMPARE(packages.at(2).body.at(0), 'e');
    QCOMPARE(spool.pending(), 0);

    // Nothing else may go, so the limit is exceeded.
    spool.add(QByteArray(4'000'001, 'f'), false);
    QCOMPARE(spool.take(1, 1).size(), 1);
    spool.dropExcess();
    QCOMPARE(spool.unsaved().size(), size_t(1));
    spool.giveBack();
    spool.dropExcess();
    QVERIFY(spool.unsaved().empty());
    QCOMPARE(spool.losses().quota, 2);
}

void tst_Spool::rolledBack()
{
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
    }
    // SQLite itself takes back what was changed when the disk is full, but not for every failure.
    sql(databaseOf(folder()),
        "CREATE TRIGGER no AFTER INSERT ON package WHEN substr(NEW.body, 1, 2) = CAST('n2' AS BLOB)"
        " BEGIN SELECT RAISE(FAIL, 'not that one'); END");
    {
        Spool spool({1000, std::chrono::hours(1)});
        QCOMPARE(spool.open(folder()), QString());
        addWords(spool, "n0");
        QVERIFY(spool.save());
        addWords(spool, "n1 n2 n3 n4 n5");
        QVERIFY(!spool.save());
        QCOMPARE(spool.problem(), QStringLiteral("not that one"));
        QCOMPARE(spool.pending(), 6);
        QVERIFY(!spool.save());
        QCOMPARE(spool.problem(), QStringLiteral("not that one"));
        QCOMPARE(spool.losses().quota, 0);
        QCOMPARE(wordsOf(spool.take(everything, 3)), QByteArray("n0 n1 n2"));
        spool.delivered();
        QVERIFY(spool.save());
        QCOMPARE(spool.problem(), QString());
        QCOMPARE(spool.pending(), 3);
        QCOMPARE(spool.takeNotice(), QString());
    }
    QCOMPARE(sql(databaseOf(folder()), "SELECT rtrim(body, '.') FROM package"), QByteArray("n3\nn4\nn5"));
}

void tst_Spool::logLimit_data()
{
    QTest::addColumn<int>("rounds");
    QTest::addColumn<int>("packages");
    QTest::addColumn<qint64>("most");

    // 256 pages and those of a last commit, each with 24 bytes of its own, and 32 for all.
    QTest::newRow("many small changes") << 400 << 1 << qint64(32 + (256 + 8) * (4096 + 24));
    // As large as the change, which is written at once, and then as large as it may stay.
    QTest::newRow("a large change") << 2 << 1000 << qint64(1'048'576);
}

void tst_Spool::logLimit()
{
    QFETCH(int, rounds);
    QFETCH(int, packages);
    QFETCH(qint64, most);

    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    qint64 largest = 0;
    for (int round = 0; round < rounds; ++round) {
        for (int i = 0; i < packages; ++i)
            spool.add(QByteArray(3000, 'x'), false);
        QVERIFY(spool.save());
        if (packages > 1) { // The next change overwrites the log.
            QVERIFY(QFileInfo(logOf(folder())).size() > most);
            addWords(spool, "n1");
            QVERIFY(spool.save());
        }
        largest = std::max(largest, QFileInfo(logOf(folder())).size());
    }
    QVERIFY2(largest <= most, QByteArray::number(largest).constData());
    // It has been full.
    QVERIFY2(largest > 1'000'000, QByteArray::number(largest).constData());
}

void tst_Spool::files()
{
    auto const files = [this] { return QDir(folder()).entryList(QDir::Files, QDir::Name); };
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        addWords(spool, "n1");
        QVERIFY(spool.save());
        // No third file, through which processes share a spool: it has one.
        QCOMPARE(files(), QStringList({QStringLiteral("spool.db"), QStringLiteral("spool.db-wal")}));
    }
    QCOMPARE(files(), QStringList({QStringLiteral("spool.db")}));
}

void tst_Spool::firstVersion()
{
    {
        Database database;
        QVERIFY(database.open(databaseOf(folder())));
        QVERIFY(database.run(R"(
            PRAGMA page_size = 4096;
            PRAGMA journal_mode = WAL;
            CREATE TABLE package (
                id INTEGER PRIMARY KEY, class INTEGER NOT NULL, created INTEGER NOT NULL, checksum INTEGER NOT NULL,
                key BLOB NOT NULL, body BLOB NOT NULL, reason BLOB);
            CREATE INDEX waiting ON package (class, id);
            CREATE TABLE state (
                id INTEGER PRIMARY KEY, time INTEGER NOT NULL, wall_time INTEGER NOT NULL,
                lost_to_quota INTEGER NOT NULL, lost_to_age INTEGER NOT NULL, lost_to_damage INTEGER NOT NULL,
                refused INTEGER NOT NULL, packages INTEGER NOT NULL, checksum INTEGER NOT NULL);
            INSERT INTO package VALUES
                (3, 1, 5000, 2579555061, CAST('8f0f29e3-0000-4000-8000-000000000001' AS BLOB), CAST('{"events":[{"event_counter":1}]}' AS BLOB), NULL),
                (4, 2, 5060, 964180504, CAST('8f0f29e3-0000-4000-8000-000000000002' AS BLOB), CAST('{"events":[{"event_counter":2}]}' AS BLOB), NULL),
                (7, 0, 5000, 1, CAST('8f0f29e3-0000-4000-8000-000000000003' AS BLOB), CAST('{}' AS BLOB), CAST('HTTP 422' AS BLOB));
            INSERT INTO state VALUES (1, 5100, 1699999000, 11, 12, 13, 14, 3, 1635405840);)"));
    }
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(spool.takeNotice(), QString());
    QCOMPARE(spool.refusedCount(), 1);
    QCOMPARE(spool.losses().quota, 11);
    QCOMPARE(spool.losses().age, 12);
    QCOMPARE(spool.losses().damage, 13);
    QCOMPARE(spool.losses().refused, 14);
    spool.add("{}", false);
    QVERIFY(spool.save());

    QList<Package> const packages = delivered(spool);
    QCOMPARE(bodiesOf(packages),
             QList<QByteArray>({R"({"events":[{"event_counter":2}]})", R"({"events":[{"event_counter":1}]})", "{}"}));
    QCOMPARE(packages.at(0).key, QByteArray("8f0f29e3-0000-4000-8000-000000000002"));
    QCOMPARE(packages.at(1).key, QByteArray("8f0f29e3-0000-4000-8000-000000000001"));
    QCOMPARE(packages.at(2).created, 6100);
    QCOMPARE(spool.losses().damage, 13);
}

namespace {

/// A spool of every kind of page, and what is in it.
struct Originals
{
    Image image; ///< After it was closed.
    Image imageInUse; ///< As a power-off leaves it.
    QMap<qint64, Package> packages;

    QMap<qint64, QSet<qsizetype>> pages; ///< Those that a package is on, counted from 0.

    qsizetype pageCount() const { return image.database.size() / pageSize; }
};

} // namespace

static QSet<qsizetype> pagesOf(QByteArray const &body, QByteArray const &database)
{
    constexpr qsizetype slice = 50;
    QSet<qsizetype> pages;
    for (qsizetype i = 0; i + slice <= body.size(); i += slice) {
        // What lies across the end of a page is not found in one piece.
        qsizetype const at = database.indexOf(body.mid(i, slice));
        if (at >= 0)
            pages.insert(at / pageSize);
    }
    return pages;
}

static QMap<qint64, QSet<qsizetype>> pagesOf(QMap<qint64, Package> const &packages, QByteArray const &database)
{
    QMap<qint64, QSet<qsizetype>> pages;
    for (Package const &package : packages)
        pages.insert(package.id, pagesOf(package.body, database));
    return pages;
}

/// Half of the packages are in the file before the rest comes, three with each commit.
static Originals makeOriginals()
{
    QTemporaryDir directory;
    Originals originals;
    std::mt19937 random(seed());
    chanceOfKeys.seed(seed());
    int made = 0;
    auto const add = [&](Spool &spool, int count) {
        for (int end = made + count; made < end; ++made) {
            qsizetype const size = made % 20 == 0 ? 9000 : 200 + made * 10;
            spool.add(randomBytes(random, size).toHex(), made % 7 == 3);
        }
        for (Package const &package : spool.unsaved())
            originals.packages.insert(package.id, package);
        if (!spool.save())
            qFatal("not saved");
    };
    for (bool isFirst : {true, false}) {
        Spool spool({});
        if (!spool.open(directory.path()).isEmpty())
            qFatal("no spool");
        while (made < (isFirst ? 30 : 60))
            add(spool, isFirst ? 30 : 3);
        originals.imageInUse = imageOf(directory.path());
    }
    originals.image = imageOf(directory.path());
    originals.pages = pagesOf(originals.packages, originals.image.database);
    return originals;
}

static Originals const &originals()
{
    static Originals const made = makeOriginals();
    return made;
}

/// What a spool has to send of which these are the packages' numbers.
static QList<QByteArray> keysInOrder(QList<qint64> const &ids)
{
    QList<QByteArray> keys;
    for (bool isHigh : {true, false}) {
        for (qint64 id : ids) {
            Package const &package = *originals().packages.find(id);
            if (package.isHigh == isHigh)
                keys.append(package.key);
        }
    }
    return keys;
}

/// Whatever becomes of a spool: what it gives are the packages that it was given, and none twice.
void tst_Spool::compareWithOriginals(QList<Package> const &packages) const
{
    QSet<qint64> ids;
    for (Package const &package : packages) {
        auto const original = originals().packages.find(package.id);
        QVERIFY2(original != originals().packages.end(), QByteArray::number(package.id).constData());
        QVERIFY2(!ids.contains(package.id), QByteArray::number(package.id).constData());
        ids.insert(package.id);
        QCOMPARE(package.key, original->key);
        QCOMPARE(package.body, original->body);
        QCOMPARE(package.created, original->created);
    }
}

/// Puts a spool into the folder which has that image, and nothing else.
void tst_Spool::keep(Image const &image)
{
    init();
    writeImage(folder(), image);
}

/// A spool that was damaged, and has been emptied, is one like any other.
void tst_Spool::goesOn(std::unique_ptr<Spool> spool) const
{
    qint64 const lost = spool->losses().damage;
    QVERIFY(spool->save());
    QCOMPARE(spool->pending(), 0);
    addWords(*spool, "n1 h2");
    QVERIFY(spool->save());
    QCOMPARE(spool->pending(), 2);

    spool.reset();
    spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    QCOMPARE(spool->takeNotice(), QString());
    QCOMPARE(spool->losses().damage, lost);
    QCOMPARE(wordsOf(delivered(*spool)), QByteArray("h2 n1"));
}

QString tst_Spool::noticeOf(qint64 rescued, qint64 lost) const
{
    return QStringLiteral("the spool was damaged: %1 packages taken over, %2 lost; what it was is %3")
        .arg(QString::number(rescued), QString::number(lost), damagedOf(folder()));
}

void tst_Spool::brokenPage_data()
{
    QTest::addColumn<QByteArray>("how");
    QTest::newRow("zeros") << QByteArray("zeros");
    QTest::newRow("random bytes") << QByteArray("random bytes");
    QTest::newRow("cut off") << QByteArray("cut off");
}

void tst_Spool::brokenPage()
{
    QFETCH(QByteArray, how);
    // The first pages: the tables' names, where the packages begin, the index, the state.
    constexpr qsizetype state = 3;

    QVERIFY(originals().pageCount() > 25);
    std::mt19937 random(seed());
    for (qsizetype page = 0; page < originals().pageCount(); ++page) {
        bool const isCut = how == "cut off";
        Image broken = originals().image;
        if (isCut)
            broken.database.truncate(page * pageSize);
        else
            broken.database.replace(page * pageSize, pageSize,
                                    how == "zeros" ? QByteArray(pageSize, '\0') : randomBytes(random, pageSize));
        keep(broken);

        QList<qint64> whole;
        for (Package const &package : originals().packages) {
            QSet<qsizetype> const pages = originals().pages.value(package.id);
            if (isCut ? *std::max_element(pages.begin(), pages.end()) < page : !pages.contains(page))
                whole.append(package.id);
        }

        QByteArray const where = "page " + QByteArray::number(page);
        auto spool = std::make_unique<Spool>(SpoolLimits());
        QCOMPARE(spool->open(folder()), QString());
        QString notice = spool->takeNotice();
        QList<Package> const packages = delivered(*spool);
        compareWithOriginals(packages);
        // Of a page that makes sense, and holds zeros, the checksum tells as soon as the package is read.
        notice += spool->takeNotice();
        QVERIFY2(keysOf(packages) == keysInOrder(whole), where.constData());
        // What is not known to have been there cannot be told as lost.
        QCOMPARE(spool->losses().damage, isCut && page <= state ? 0 : 60 - whole.size());
        QCOMPARE(spool->refusedCount(), 0);
        QCOMPARE(QFile::exists(damagedOf(folder())), !notice.isEmpty());
        // Of an empty file SQLite makes a new one, and of zeros it may say nothing where a package ends in them.
        if (how == "random bytes" || (isCut && page > 0))
            QCOMPARE(notice, noticeOf(whole.size(), spool->losses().damage));
        goesOn(std::move(spool));
        if (QTest::currentTestFailed())
            return qWarning("%s", where.constData());
    }
}

/// The pages of a kind, which SQLite tells by a page's first byte.
static QList<qsizetype> pagesOfKind(char kind, QByteArray const &database)
{
    QList<qsizetype> pages;
    for (qsizetype page = 1; page < database.size() / pageSize; ++page) {
        if (database.at(page * pageSize) == kind)
            pages.append(page);
    }
    return pages;
}

/// How many rows a page has, by its own account.
static int rowsOn(qsizetype page, QByteArray const &database)
{
    return qFromBigEndian<quint16>(database.constData() + page * pageSize + 3);
}

void tst_Spool::brokenPages()
{
    // The index is on several pages.
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        for (int i = 0; i < 3000; ++i)
            spool.add("{\"i\":" + QByteArray::number(i) + '}', false);
        QVERIFY(spool.save());
    }
    Image broken = imageOf(folder());
    QByteArray const sound = broken.database;
    QList<qsizetype> const packages = pagesOfKind(0x0D, sound);
    QList<qsizetype> const index = pagesOfKind(0x0A, sound);
    QVERIFY(packages.size() > 40);
    QVERIFY(index.size() > 4);

    // What lies between two broken pages is found also where the index is broken.
    qsizetype const first = packages.at(5);
    qsizetype const last = packages.at(packages.size() - 6);
    qsizetype const middle = index.at(2);
    for (qsizetype page : {first, last, middle})
        broken.database.replace(page * pageSize, pageSize, QByteArray(pageSize, '?'));
    int const lost = rowsOn(first, sound) + rowsOn(last, sound);
    keep(broken);
    auto spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    QCOMPARE(spool->takeNotice(), noticeOf(3000 - lost, lost));
    QCOMPARE(delivered(*spool).size(), 3000 - lost);
    goesOn(std::move(spool));

    // Without any index one broken page takes no more than itself.
    broken.database = sound;
    for (qsizetype page : index)
        broken.database.replace(page * pageSize, pageSize, QByteArray(pageSize, '?'));
    broken.database.replace(first * pageSize, pageSize, QByteArray(pageSize, '?'));
    keep(broken);
    spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    QCOMPARE(delivered(*spool).size(), 3000 - rowsOn(first, sound));
    goesOn(std::move(spool));
}

/// A package that the index lacks is neither stuck in the spool nor in the way of one that gets its number.
void tst_Spool::indexWithoutEntry()
{
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        addWords(spool, "n1 n2 n3");
        QVERIFY(spool.save());
    }
    sql(databaseOf(folder()), R"(
        DROP INDEX waiting;
        CREATE INDEX waiting ON package (class, id) WHERE id < 3;
        PRAGMA writable_schema = ON;
        UPDATE sqlite_schema SET sql = 'CREATE INDEX waiting ON package (class, id)' WHERE name = 'waiting';)");
    auto spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    addWords(*spool, "n4");
    QVERIFY(spool->save());
    QCOMPARE(wordsOf(delivered(*spool)), QByteArray("n1 n2 n3 n4"));
    QCOMPARE(spool->losses().total(), 0);
    goesOn(std::move(spool));
}

/// With the index goes the knowledge of what lies between two leaves.
void tst_Spool::brokenIndex_data()
{
    QTest::addColumn<QByteArray>("broken");
    QTest::addColumn<QByteArray>("left");
    QTest::addColumn<int>("lost");

    QTest::newRow("with two leaves") << QByteArray("n3 n8") << QByteArray("n1 n2 n4 n5 n6 n7 n9 n10 n11 n12") << 2;
    QTest::newRow("with two leaves and the count")
        << QByteArray("n3 n8 count") << QByteArray("n1 n2 n4 n5 n6 n7 n9 n10 n11 n12") << 0;
    QTest::newRow("with all leaves but one")
        << QByteArray("n1 n2 n3 n4 n5 n7 n8 n9 n10 n11 n12") << QByteArray("n6") << 11;
}

void tst_Spool::brokenIndex()
{
    QFETCH(QByteArray, broken);
    QFETCH(QByteArray, left);
    QFETCH(int, lost);

    // One package a page, and those that are delivered before the others come leave free pages.
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        for (bool isFirst : {true, false}) {
            for (int i = 1; i <= 12; ++i)
                spool.add(((isFirst ? 'd' : 'n') + QByteArray::number(i)).leftJustified(3000, '.'), false);
            QVERIFY(spool.save());
            if (isFirst)
                QCOMPARE(delivered(spool).size(), 12);
        }
    }
    Image image = imageOf(folder());
    auto const breakPage
        = [&](qsizetype page) { image.database.replace(page * pageSize, pageSize, QByteArray(pageSize, '?')); };
    constexpr qsizetype index = 2;
    constexpr qsizetype count = 3;
    breakPage(index);
    for (QByteArray const &word : broken.split(' '))
        breakPage(word == "count" ? count : image.database.indexOf(word + '.') / pageSize);
    writeImage(folder(), image);

    auto spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    QCOMPARE(wordsOf(delivered(*spool)), left);
    QCOMPARE(spool->losses().damage, lost);
    goesOn(std::move(spool));
}

void tst_Spool::brokenFirstPages()
{
    // Small ones follow the tables' first pages at once.
    QByteArray words;
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        for (int i = 0; i < 40; ++i) {
            QByteArray const word = 'n' + QByteArray::number(i);
            words += (i == 0 ? "" : " ") + word;
            spool.add(word.leftJustified(1000, '.'), false);
        }
        QVERIFY(spool.save());
    }
    Image const sound = imageOf(folder());
    QCOMPARE(pagesOfKind(0x0D, sound.database).mid(1, 3), QList<qsizetype>({4, 5, 6}));
    // Each alone, and then those of the packages' table and of what SQLite knows of tables.
    for (QList<qsizetype> const &pages : {QList<qsizetype>({0}), {1}, {2}, {3}, {0, 1}}) {
        Image broken = sound;
        for (qsizetype page : pages)
            broken.database.replace(page * pageSize, pageSize, QByteArray(pageSize, '?'));
        keep(broken);
        auto spool = std::make_unique<Spool>(SpoolLimits());
        QCOMPARE(spool->open(folder()), QString());
        QCOMPARE(spool->takeNotice(), noticeOf(40, 0));
        QCOMPARE(wordsOf(delivered(*spool)), words);
        goesOn(std::move(spool));
    }
}

void tst_Spool::changedFirstPage()
{
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        addWords(spool, "n1 h2");
        QVERIFY(spool.save());
    }
    QByteArray const database = read(databaseOf(folder()));
    int changes = 0;
    for (qsizetype i = 0; i < pageSize; ++i) {
        if (database.at(i) == 0)
            continue;
        ++changes;
        Image changed{database, {}};
        changed.database[i] = static_cast<char>(database.at(i) ^ 0x15);
        writeImage(folder(), changed);
        QByteArray const where = "byte " + QByteArray::number(i) + ": " + database.mid(i, 20);
        Spool spool({});
        QVERIFY2(spool.open(folder()).isEmpty(), where.constData());
        QVERIFY2(wordsOf(delivered(spool)) == "h2 n1", where.constData());
        QVERIFY2(spool.losses().total() == 0, where.constData());
        QVERIFY2(spool.save(), where.constData());
    }
    QVERIFY(changes > 500);
}

void tst_Spool::changedLetter_data()
{
    QTest::addColumn<bool>("isKey");
    QTest::newRow("body") << false;
    QTest::newRow("key") << true;
}

void tst_Spool::changedLetter()
{
    QFETCH(bool, isKey);

    Image changed = originals().image;
    Package const &package = *originals().packages.find(30);
    qsizetype const at = changed.database.indexOf(isKey ? package.key : package.body) + 20;
    changed.database[at] = changed.database.at(at) == '7' ? '8' : '7';
    keep(changed);

    auto spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    QCOMPARE(spool->pending(), 60);
    QList<Package> const packages = delivered(*spool);
    compareWithOriginals(packages);
    QCOMPARE(packages.size(), 59);
    QVERIFY(!keysOf(packages).contains(package.key));
    QCOMPARE(spool->losses().damage, 1);
    QCOMPARE(spool->takeNotice(),
             QStringLiteral("the spool was damaged: 50 packages taken over, 1 lost; what it was is ")
                 + damagedOf(folder()));
    QVERIFY(QFile::exists(damagedOf(folder())));
    QCOMPARE(spool->refusedCount(), 0);
    QCOMPARE(spool->pending(), 0);
    goesOn(std::move(spool));
}

/// What is known in memory only does not go with the damage.
void tst_Spool::changedLetterBeforeSave()
{
    Image changed = originals().image;
    Package const &package = *originals().packages.find(30);
    qsizetype const at = changed.database.indexOf(package.body);
    changed.database[at] = changed.database.at(at) == '7' ? '8' : '7';
    keep(changed);
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        QCOMPARE(spool.take(everything, 1).first().id, 4);
        spool.refused(QStringLiteral("why not"));
        QVERIFY(spool.save());
        spool.countDropped(5);
        addWords(spool, "n61");
        QCOMPARE(spool.take(everything, 1).first().id, 11);
        spool.refused(QStringLiteral("why not"));
        for (int i = 0; i < 7; ++i) { // The rest of those of high priority.
            spool.take(everything, 1);
            spool.delivered();
        }
        QCOMPARE(spool.pending(), 60 + 1 - 9);
        spool.take(everything, everything);
        // The refused ones are among those that the file has, and seven are delivered.
        QCOMPARE(spool.takeNotice(), noticeOf(52, 1));
        QCOMPARE(spool.taken().size(), 51);
        QCOMPARE(wordsOf({spool.taken().last()}), QByteArray("n61"));
        spool.giveBack();
        QCOMPARE(spool.pending(), 51);
        QCOMPARE(spool.refusedCount(), 2);
        QCOMPARE(spool.losses().refused, 2);
        QCOMPARE(spool.losses().quota, 5);
        QCOMPARE(spool.losses().damage, 1);
        QVERIFY(spool.save());
    }
    QCOMPARE(
        sql(databaseOf(folder()), "SELECT lost_to_quota, lost_to_age, lost_to_damage, refused, packages FROM state"),
        QByteArray("5|0|1|2|53"));
    QCOMPARE(sql(databaseOf(folder()), "SELECT class, count(*) FROM package GROUP BY class"), QByteArray("0|2\n1|51"));
}

void tst_Spool::changedLetterOnAFullDisk()
{
    Image changed = originals().image;
    Package const &package = *originals().packages.find(30);
    qsizetype const at = changed.database.indexOf(package.body);
    changed.database[at] = changed.database.at(at) == '7' ? '8' : '7';
    keep(changed);
    auto spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    {
        // Half of a copy would do for half of the packages.
        FullDisk const full;
        QCOMPARE(delivered(*spool).last().id, 29);
        QCOMPARE(spool->problem(), QStringLiteral("no room to read the damaged spool"));
        QCOMPARE(spool->takeNotice(), QString());
        QCOMPARE(spool->losses().damage, 0);
    }
    QList<Package> const packages = delivered(*spool);
    QCOMPARE(packages.first().id, 31);
    QCOMPARE(packages.last().id, 59);
    QCOMPARE(spool->losses().damage, 1);
    goesOn(std::move(spool));
}

void tst_Spool::changedClass_data()
{
    QTest::addColumn<int>("changedTo");
    for (int changedTo : {0, 1, 3, 77, 255})
        QTest::addRow("%d", changedTo) << changedTo;
}

void tst_Spool::changedClass()
{
    QFETCH(int, changedTo);

    // The class of a package of high priority is the byte before the checksum, which comes before the key; a moment of
    // 0 takes no byte. SQLite gives a number as many bytes as it needs.
    Package const &package = *originals().packages.find(4);
    QVERIFY(package.isHigh);
    QCOMPARE(package.created, 0);
    keep(originals().image);
    int const checksumSize = sql(databaseOf(folder()),
                                 "SELECT CASE WHEN checksum < 1 << 7 THEN 1 WHEN checksum < 1 << 15 THEN 2"
                                 " WHEN checksum < 1 << 23 THEN 3 WHEN checksum < 1 << 31 THEN 4 ELSE 6 END"
                                 " FROM package WHERE id = 4")
                                 .toInt();
    Image changed = originals().image;
    qsizetype const at = changed.database.indexOf(package.key) - checksumSize - 1;
    QCOMPARE(changed.database.at(at), char(2));
    changed.database[at] = static_cast<char>(changedTo);

    for (bool isRefused : {false, true}) {
        keep(changed);
        auto spool = std::make_unique<Spool>(SpoolLimits());
        QCOMPARE(spool->open(folder()), QString());
        QCOMPARE(spool->take(everything, 1).first().key, package.key);
        if (isRefused)
            spool->refused(QStringLiteral("why not"));
        else
            spool->delivered();
        QVERIFY(spool->save());
        QCOMPARE(spool->problem(), QString());
        QCOMPARE(spool->pending(), 59);
        QCOMPARE(spool->refusedCount(), isRefused ? 1 : 0);
        QList<Package> const packages = delivered(*spool);
        compareWithOriginals(packages);
        QCOMPARE(packages.size(), 59);
        QVERIFY(!keysOf(packages).contains(package.key));
        QCOMPARE(spool->losses().total(), 0);
        goesOn(std::move(spool));
    }
}

void tst_Spool::changedState_data()
{
    QTest::addColumn<QByteArray>("change");
    QTest::newRow("clock") << QByteArray("time = 1000000000000");
    QTest::newRow("wall clock") << QByteArray("wall_time = 1577836801");
    QTest::newRow("packages") << QByteArray("packages = 1000000000000");
    QTest::newRow("losses") << QByteArray("lost_to_quota = 1000000000000");
    QTest::newRow("checksum") << QByteArray("checksum = 1");
    QTest::newRow("none there") << QByteArray();
}

void tst_Spool::changedState()
{
    QFETCH(QByteArray, change);

    keep(originals().image);
    sql(databaseOf(folder()), change.isEmpty() ? "DELETE FROM state" : "UPDATE state SET " + change);
    auto spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    QCOMPARE(spool->losses().total(), 0);
    QCOMPARE(spool->takeNotice(),
             QStringLiteral("the spool was damaged: its clock and its counts of losses begin anew"));
    QVERIFY(spool->save());
    QCOMPARE(delivered(*spool).size(), 60);
    goesOn(std::move(spool));
}

void tst_Spool::brokenWhileInUse_data()
{
    QTest::addColumn<bool>("isFoundByExpiry");
    QTest::newRow("when sent") << false;
    QTest::newRow("when too old") << true;
}

void tst_Spool::brokenWhileInUse()
{
    QFETCH(bool, isFoundByExpiry);

    // One package a page, and more pages than SQLite keeps in memory.
    SpoolLimits const limits{20'000'000, std::chrono::seconds(100)};
    std::mt19937 random(seed());
    QList<QByteArray> bodies;
    {
        Spool spool(limits);
        QCOMPARE(spool.open(folder()), QString());
        for (int i = 0; i < 1000; ++i) {
            bodies.append(randomBytes(random, 3000));
            spool.add(bodies.last(), false);
        }
        QVERIFY(spool.save());
    }
    auto spool = std::make_unique<Spool>(limits);
    QCOMPARE(spool->open(folder()), QString());
    QCOMPARE(spool->take(everything, 1).first().body, bodies.takeFirst());
    spool->delivered();

    Image const image = imageOf(folder());
    QFile file(databaseOf(folder()));
    QVERIFY(file.open(QIODevice::ReadWrite));
    for (int index : {300, 200}) {
        QVERIFY(file.seek(image.database.indexOf(bodies.takeAt(index)) / pageSize * pageSize));
        QCOMPARE(file.write(randomBytes(random, pageSize)), qint64(pageSize));
    }
    file.close();

    if (isFoundByExpiry) {
        sinceBoot += 101;
        QVERIFY(spool->save());
        QCOMPARE(spool->problem(), QString());
        QCOMPARE(spool->takeNotice(), noticeOf(997, 2));
        QCOMPARE(spool->losses().age, 997);
    } else {
        // Nothing twice, though some had been taken when the rest could not be read.
        QCOMPARE(spool->take(everything, everything).size(), 997);
        QCOMPARE(spool->takeNotice(), noticeOf(997, 2));
        QCOMPARE(bodiesOf(spool->taken()), bodies);
        QCOMPARE(spool->pending(), 997);
        spool->delivered();
    }
    QCOMPARE(spool->losses().damage, 2);
    QCOMPARE(spool->pending(), 0);
    goesOn(std::move(spool));
}

void tst_Spool::notASpool_data()
{
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("text") << QByteArray("What is this?\n").repeated(1000);
    QTest::newRow("a word") << QByteArray("What?");
    QTest::newRow("zeros") << QByteArray(3 * pageSize, '\0');
    for (qsizetype size : {99, 100, 511, 4095, 4097, 8191})
        QTest::addRow("cut off after %d bytes", int(size)) << originals().image.database.left(size);
}

void tst_Spool::notASpool()
{
    QFETCH(QByteArray, bytes);

    keep({bytes, {}});
    auto spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    QCOMPARE(spool->takeNotice(), noticeOf(0, 0));
    QCOMPARE(delivered(*spool).size(), 0);
    goesOn(std::move(spool));
}

void tst_Spool::interruptedRescue_data()
{
    QTest::addColumn<QByteArray>("database");
    QTest::addColumn<QByteArray>("fresh");
    QTest::addColumn<QByteArray>("damaged");
    QTest::addColumn<QByteArray>("latest");
    QTest::addColumn<int>("packages");

    QByteArray const &sound = originals().image.database;
    QByteArray broken = sound;
    broken.replace(broken.size() - pageSize, pageSize, QByteArray(pageSize, '?'));
    QByteArray const older = "what it was before";
    QTest::newRow("the new one is complete") << QByteArray() << sound << broken << broken << 60;
    QTest::newRow("the new one is not") << broken << sound.left(20'000) << older << broken << 59;
    QTest::newRow("the new one is, the old one is there") << broken << sound << older << broken << 59;
    QTest::newRow("all over") << sound << QByteArray() << broken << broken << 60;
}

void tst_Spool::interruptedRescue()
{
    QFETCH(QByteArray, database);
    QFETCH(QByteArray, fresh);
    QFETCH(QByteArray, damaged);
    QFETCH(QByteArray, latest);
    QFETCH(int, packages);

    if (!database.isEmpty())
        write(databaseOf(folder()), database);
    if (!fresh.isEmpty())
        write(databaseOf(folder()) + QLatin1String(".new"), fresh);
    write(damagedOf(folder()), damaged);
    write(databaseOf(folder()) + QLatin1String(".scan"), "what was read of it");

    auto spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    QCOMPARE(spool->pending(), packages);
    QCOMPARE(spool->losses().damage, 60 - packages);
    QList<Package> const all = delivered(*spool);
    compareWithOriginals(all);
    QCOMPARE(all.size(), packages);
    QVERIFY(!QFile::exists(databaseOf(folder()) + QLatin1String(".new")));
    // The latest that was damaged is kept.
    QCOMPARE(read(damagedOf(folder())), latest);
    QVERIFY(!QFile::exists(databaseOf(folder()) + QLatin1String(".scan")));
    goesOn(std::move(spool));
}

/// Makes one mistake of those that a disk makes.
static QByteArray damaged(QByteArray bytes, std::mt19937 &random)
{
    if (bytes.size() < pageSize) // A former mistake has left too little of it for another one.
        return bytes;
    auto const below
        = [&random](qsizetype bound) { return std::uniform_int_distribution<qsizetype>(0, bound - 1)(random); };
    qsizetype const at = below(bytes.size());
    qsizetype const length = std::min(bytes.size() - at, below(3 * pageSize));
    qsizetype const pages = bytes.size() / pageSize;
    switch (below(6)) {
    case 0:
        bytes[at] = static_cast<char>(bytes.at(at) ^ (1 << below(8)));
        break;
    case 1:
        bytes.replace(at, length, randomBytes(random, length));
        break;
    case 2:
        bytes.replace(at, length, QByteArray(length, '\0'));
        break;
    case 3:
        bytes.truncate(at);
        break;
    case 4: // A page that was written to another place.
        bytes.replace(below(pages) * pageSize, pageSize, bytes.mid(below(pages) * pageSize, pageSize));
        break;
    case 5:
        bytes.insert(at, randomBytes(random, length));
        break;
    }
    return bytes;
}

/// The pages as SQLite reads them: up to the log's last commit before the bytes that are not sound, those in the log
/// take the place of the file's.
static QByteArray merged(QByteArray database, QByteArray const &log, qsizetype sound)
{
    constexpr qsizetype logHeader = 32;
    constexpr qsizetype frameHeader = 24;
    constexpr qsizetype frame = frameHeader + pageSize;
    auto const number = [&log](qsizetype at) { return qFromBigEndian<quint32>(log.constData() + at); };
    qsizetype committed = logHeader;
    for (qsizetype at = logHeader; at + frame <= sound; at += frame) {
        if (number(at + 4) != 0) // Only the last frame of a commit tells the size.
            committed = at + frame;
    }
    for (qsizetype at = logHeader; at < committed; at += frame) {
        qsizetype const offset = (number(at) - 1) * pageSize;
        database = database.leftJustified(offset + pageSize, '\0');
        database.replace(offset, pageSize, log.mid(at + frameHeader, pageSize));
    }
    return database;
}

/// The packages of which nothing is damaged that they are read by: their pages, and the index.
static QSet<qint64> readable(Image const &original, Image const &image)
{
    if (image.database.isEmpty()) // SQLite takes a log beside that for another's.
        return {};
    auto const sound
        = std::mismatch(original.log.begin(), original.log.end(), image.log.begin(), image.log.end()).first;
    qsizetype const soundSize = sound - original.log.begin();
    QByteArray const before = merged(original.database, original.log, soundSize);
    QByteArray const after = merged(image.database, original.log, soundSize);
    auto const isWhole
        = [&](qsizetype page) { return after.mid(page * pageSize, pageSize) == before.mid(page * pageSize, pageSize); };
    constexpr qsizetype index = 2;
    if (!isWhole(index))
        return {};
    static QHash<QByteArray, QMap<qint64, QSet<qsizetype>>> pagesIn;
    auto &pages = pagesIn[before];
    if (pages.isEmpty())
        pages = pagesOf(originals().packages, before);
    QSet<qint64> ids;
    for (auto it = pages.cbegin(); it != pages.cend(); ++it) {
        if (!it->isEmpty() && std::all_of(it->begin(), it->end(), isWhole))
            ids.insert(it.key());
    }
    return ids;
}

/// STBHOST_DAMAGE_ROUNDS makes it longer.
void tst_Spool::damageByChance()
{
    constexpr char variable[] = "STBHOST_DAMAGE_ROUNDS";
    int const rounds = qEnvironmentVariableIsSet(variable) ? qEnvironmentVariableIntValue(variable) : 300;
    qsizetype expected = 0;
    for (int round = 0; round < rounds; ++round) {
        std::seed_seq seeds{seed(), static_cast<quint32>(round)};
        std::mt19937 random(seeds);
        Image const &original = round % 2 == 0 ? originals().image : originals().imageInUse;
        Image image = original;
        for (auto mistakes = 1 + random() % 3; mistakes > 0; --mistakes) {
            QByteArray &file = image.log.isEmpty() || random() % 2 == 0 ? image.database : image.log;
            if (!file.isEmpty())
                file = damaged(file, random);
        }
        keep(image);
        auto spool = std::make_unique<Spool>(SpoolLimits());
        QCOMPARE(spool->open(folder()), QString());
        QVERIFY(spool->pending() <= 60);
        QList<Package> const packages = delivered(*spool);
        compareWithOriginals(packages);
        QSet<qint64> missing = readable(original, image);
        expected += missing.size();
        for (Package const &package : packages)
            missing.remove(package.id);
        QVERIFY2(missing.isEmpty(), "what could be read has not come back in round " + QByteArray::number(round));
        goesOn(std::move(spool));
        if (QTest::currentTestFailed())
            return qWarning("round %d", round);
    }
    QVERIFY(expected > 10 * rounds);
}

QTEST_GUILESS_MAIN(tst_Spool)
#include "tst_spool.moc"

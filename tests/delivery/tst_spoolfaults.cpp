#include "spoolsupport.h"

#include <QtCore/QDir>
#include <QtCore/QMap>
#include <QtTest/QTest>

#include <cerrno>
#include <functional>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace stbanalytics::delivery;

/// What changes the folder of a spool for good, in its order, such as "rename spool.db.new spool.db".
static QList<QByteArray> changes;

/// Called before each change, as where power may fail.
static std::function<void()> beforeChange;

static void note(QByteArray const &change)
{
    changes.append(change);
    if (beforeChange)
        beforeChange();
}

static QByteArray nameIn(QByteArray const &path)
{
    return path.mid(path.lastIndexOf('/') + 1);
}

static QByteArray pathOf(int file)
{
    QByteArray const link = "/proc/self/fd/" + QByteArray::number(file);
    return QFile::encodeName(QFile::symLinkTarget(QFile::decodeName(link)));
}

static int synced(int file)
{
    note("sync " + nameIn(pathOf(file)));
    return 0;
}

// These take the place of the C library's own in this program.
extern "C" int fsync(int file)
{
    return synced(file);
}

extern "C" int fdatasync(int file)
{
    return synced(file);
}

extern "C" int unlink(char const *path) noexcept
{
    note("remove " + nameIn(path));
    return unlinkat(AT_FDCWD, path, 0);
}

/// A move that fails, in the words of the changes.
static QByteArray failingMove;

extern "C" int rename(char const *from, char const *to) noexcept
{
    QByteArray const move = "rename " + nameIn(from) + ' ' + nameIn(to);
    note(move);
    if (move == failingMove) {
        errno = EIO;
        return -1;
    }
    return renameat(AT_FDCWD, from, AT_FDCWD, to);
}

namespace {

/// What SQLite meets at one file, as long as this is there; one at a time.
class Fault
{
public:
    enum Kind { None, Unopenable, Unreadable, Uncorrectable, CutOff, Unwritable, BadPage };

    /// The file keeps its fault under another name; one that is not there yet has it by its name.
    Fault(Kind kind, QString const &path, qsizetype page = 0)
        : m_kind(kind)
        , m_path(QFile::encodeName(path))
        , m_page(page)
    {
        struct stat64 status
        {
        };
        if (stat64(m_path.constData(), &status) == 0)
            m_inode = status.st_ino;
        s_current = this;
        replace("open", reinterpret_cast<sqlite3_syscall_ptr>(open));
        for (char const *name : {"pread", "pread64"})
            replace(name, reinterpret_cast<sqlite3_syscall_ptr>(read));
        for (char const *name : {"pwrite", "pwrite64"})
            replace(name, reinterpret_cast<sqlite3_syscall_ptr>(write));
    }
    Fault(Fault const &) = delete;
    Fault &operator=(Fault const &) = delete;
    ~Fault()
    {
        sqlite3_vfs *const system = sqlite3_vfs_find(nullptr);
        system->xSetSystemCall(system, nullptr, nullptr);
        s_current = nullptr;
    }

    /// Whether not even Qt can read that.
    static bool isBad(int file, off64_t offset)
    {
        return s_current != nullptr && isHit(BadPage, file) && offset / pageSize == s_current->m_page;
    }

private:
    static void replace(char const *name, sqlite3_syscall_ptr call)
    {
        sqlite3_vfs *const system = sqlite3_vfs_find(nullptr);
        if (system->xGetSystemCall(system, name) != nullptr)
            system->xSetSystemCall(system, name, call);
    }

    static bool isHit(Kind kind, int file)
    {
        if (s_current->m_kind != kind)
            return false;
        struct stat64 status
        {
        };
        if (s_current->m_inode != 0)
            return fstat64(file, &status) == 0 && status.st_ino == s_current->m_inode;
        return pathOf(file) == s_current->m_path;
    }

    static int open(char const *path, int flags, int mode)
    {
        if (s_current->m_kind == Unopenable && s_current->m_path == path) {
            errno = EMFILE;
            return -1;
        }
        return ::open(path, flags, mode);
    }

    static ssize_t read(int file, void *bytes, size_t size, off64_t offset)
    {
        if (isHit(Unreadable, file) || isBad(file, offset)) {
            errno = EIO;
            return -1;
        }
        if (isHit(Uncorrectable, file)) {
            errno = EBADMSG; // As flash has it. SQLite takes EIO for damage itself.
            return -1;
        }
        return isHit(CutOff, file) ? 0 : pread64(file, bytes, size, offset);
    }

    static ssize_t write(int file, void const *bytes, size_t size, off64_t offset)
    {
        if (isHit(Unwritable, file)) {
            errno = EIO;
            return -1;
        }
        return pwrite64(file, bytes, size, offset);
    }

    static inline Fault const *s_current = nullptr;

    Kind m_kind;
    QByteArray m_path;
    qsizetype m_page;
    ino64_t m_inode = 0;
};

} // namespace

extern "C" ssize_t read(int file, void *bytes, size_t size)
{
    if (Fault::isBad(file, lseek64(file, 0, SEEK_CUR))) {
        errno = EIO;
        return -1;
    }
    return static_cast<ssize_t>(syscall(SYS_read, file, bytes, size));
}

class tst_SpoolFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void savedIsSynced();
    void rescueIsSynced();
    void killedInARescue_data();
    void killedInARescue();
    void rescueFails_data();
    void rescueFails();
    void newLogIsLeft();
    void lastMoveFails();
    void lastMoveFailsInUse();
    void damagedLogStays();
    void readFailsWhileInUse_data();
    void readFailsWhileInUse();
    void badPage();
    void outOfMemory();

private:
    QString folder() const { return m_directory->path(); }
    QString pathTo(QByteArray const &name) const { return folder() + QLatin1Char('/') + QString::fromLatin1(name); }
    QString noticeOf(int rescued, int lost) const;

    std::unique_ptr<QTemporaryDir> m_directory;
};

/// The connection that was opened last.
static sqlite3 *latest = nullptr;

static int keepLatest(sqlite3 *connection, char const **, sqlite3_api_routines const *)
{
    latest = connection;
    return SQLITE_OK;
}

void tst_SpoolFaults::initTestCase()
{
    QCOMPARE(sqlite3_auto_extension(reinterpret_cast<void (*)()>(keepLatest)), SQLITE_OK);
}

void tst_SpoolFaults::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(m_directory->isValid());
    changes.clear();
}

void tst_SpoolFaults::cleanup()
{
    beforeChange = nullptr;
    failingMove.clear();
    sqlite3_hard_heap_limit64(0);
    sqlite3_soft_heap_limit64(0);
}

QString tst_SpoolFaults::noticeOf(int rescued, int lost) const
{
    return QStringLiteral("the spool was damaged: %1 packages taken over, %2 lost; what it was is %3")
        .arg(QString::number(rescued), QString::number(lost), damagedOf(folder()));
}

/// Twelve packages in the file, one a page, and three more in its log.
static Image const &original()
{
    static Image const made = [] {
        QTemporaryDir directory;
        for (bool isFirst : {true, false}) {
            Spool spool({});
            if (!spool.open(directory.path()).isEmpty())
                qFatal("no spool");
            for (int i = 1; isFirst && i <= 12; ++i)
                spool.add(('n' + QByteArray::number(i)).leftJustified(3000, '.'), false);
            if (!isFirst)
                addWords(spool, "n13 n14 h15");
            if (!spool.save())
                qFatal("not saved");
            if (!isFirst)
                return imageOf(directory.path());
        }
        return Image();
    }();
    return made;
}

/// The same, with the page gone that a package is on.
static Image withoutPageOf(QByteArray const &word)
{
    Image image = original();
    qsizetype const at = image.database.indexOf(word + '.');
    image.database.replace(at / pageSize * pageSize, pageSize, QByteArray(pageSize, '?'));
    return image;
}

void tst_SpoolFaults::savedIsSynced()
{
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    addWords(spool, "n1");
    QVERIFY(spool.save());
    for (bool isDelivered : {false, true}) {
        changes.clear();
        if (isDelivered) {
            spool.take(everything, everything);
            spool.delivered();
        } else {
            addWords(spool, "n2");
        }
        QCOMPARE(changes, QList<QByteArray>());
        QVERIFY(spool.save());
        QCOMPARE(changes, QList<QByteArray>({"sync spool.db-wal"}));
    }
}

void tst_SpoolFaults::rescueIsSynced()
{
    writeImage(folder(), withoutPageOf("n5"));
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(spool.takeNotice(), noticeOf(14, 1));
    // The new one is on the disk, and complete, before the old one goes; that both have moved, before anything else.
    qsizetype const moved = changes.indexOf("rename spool.db spool.db.damaged");
    qsizetype const written = changes.lastIndexOf("sync spool.db.new");
    QCOMPARE(changes.mid(written, 2), QList<QByteArray>({"sync spool.db.new", "remove spool.db.new-wal"}));
    QVERIFY(written < moved);
    QList<QByteArray> rest = changes.mid(moved);
    rest.removeAll("remove spool.db");
    rest.removeAll("remove spool.db-wal");
    QCOMPARE(rest,
             QList<QByteArray>({"rename spool.db spool.db.damaged", "rename spool.db.new spool.db",
                                "sync " + nameIn(QFile::encodeName(folder()))}));
}

/// All files of a folder.
using Files = QMap<QString, QByteArray>;

static Files filesIn(QString const &folder)
{
    Files files;
    for (QString const &name : QDir(folder).entryList(QDir::Files))
        files.insert(name, read(folder + QLatin1Char('/') + name));
    return files;
}

void tst_SpoolFaults::killedInARescue_data()
{
    QTest::addColumn<bool>("isLogLeft");

    QTest::newRow("the log is moved into the file first") << false;
    QTest::newRow("the log cannot be moved into the file") << true;
}

/// Wherever it ends, the next start has all that can be read.
void tst_SpoolFaults::killedInARescue()
{
    QFETCH(bool, isLogLeft);

    auto const compare = [](QString const &folder) {
        Spool spool({});
        QCOMPARE(spool.open(folder), QString());
        QCOMPARE(spool.losses().damage, 1);
        QCOMPARE(wordsOf(delivered(spool)), QByteArray("h15 n1 n2 n3 n4 n6 n7 n8 n9 n10 n11 n12 n13 n14"));
    };
    writeImage(folder(), withoutPageOf("n5"));
    QList<std::pair<QByteArray, Files>> states;
    {
        Fault const fault(isLogLeft ? Fault::Unwritable : Fault::None, databaseOf(folder()));
        beforeChange = [&] { states.append({changes.last(), filesIn(folder())}); };
        compare(folder());
        beforeChange = nullptr;
    }
    QCOMPARE(QFile::exists(damagedOf(folder()) + QLatin1String("-wal")), isLogLeft);
    QVERIFY(states.size() > 20);
    for (auto const &[change, files] : std::as_const(states)) {
        QTemporaryDir directory;
        for (auto it = files.begin(); it != files.end(); ++it)
            write(directory.filePath(it.key()), it.value());
        if (!files.contains(QStringLiteral("spool.db"))) { // There is nothing more to be done than a move.
            Spool spool({});
            QCOMPARE(spool.open(directory.path()), QString());
            QCOMPARE(spool.takeNotice(), QString());
        }
        compare(directory.path());
        if (QTest::currentTestFailed())
            return qWarning("killed before: %s", change.constData());
    }
}

void tst_SpoolFaults::rescueFails_data()
{
    QTest::addColumn<QByteArray>("obstacle");
    QTest::addColumn<bool>("isOpenedAgain");
    QTest::addColumn<QString>("problem");

    // clang-format off
    QTest::newRow("the copy cannot be made")           << QByteArray("spool.db.scan")    << true  << QStringLiteral("no room to read the damaged spool");
    QTest::newRow("nor the spool be opened again")     << QByteArray("spool.db.scan")    << false << QStringLiteral("no room to read the damaged spool");
    QTest::newRow("the new one cannot be made")        << QByteArray("spool.db.new")     << true  << QStringLiteral("unable to open database file");
    QTest::newRow("the former one cannot be replaced") << QByteArray("spool.db.damaged") << true  << QStringLiteral("the damaged file cannot be set aside");
    // clang-format on
}

/// What can be read of it is sent all the same, and it is rescued when that can be done.
void tst_SpoolFaults::rescueFails()
{
    QFETCH(QByteArray, obstacle);
    QFETCH(bool, isOpenedAgain);
    QFETCH(QString, problem);

    writeImage(folder(), original());
    QCOMPARE(sql(databaseOf(folder()), "UPDATE package SET checksum = 1 WHERE id = 15"), QByteArray());
    QByteArray const stored = "n1 n2 n3 n4 n5 n6 n7 n8 n9 n10 n11 n12 n13 n14";

    auto spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    addWords(*spool, "n16");
    {
        // A folder where a file is to be.
        QVERIFY(QDir(folder()).mkpath(pathTo(obstacle + "/not empty")));
        Fault const fault(isOpenedAgain ? Fault::None : Fault::Unopenable, databaseOf(folder()));
        QCOMPARE(wordsOf(spool->take(everything, everything)), isOpenedAgain ? stored + " n16" : "n16");
        spool->giveBack();
        QCOMPARE(spool->problem(), problem);
        QCOMPARE(spool->save(), isOpenedAgain);
        QCOMPARE(spool->problem(), isOpenedAgain ? QString() : problem);
        QCOMPARE(spool->unsaved().size(), size_t(isOpenedAgain ? 0 : 1));
        QCOMPARE(spool->takeNotice(), QString());
        QCOMPARE(spool->pending(), 16);
        QVERIFY(QDir(pathTo(obstacle)).removeRecursively());
    }
    QVERIFY(spool->save());
    QCOMPARE(spool->problem(), QString());
    QCOMPARE(wordsOf(spool->take(everything, everything)), stored + " n16");
    QVERIFY(!spool->takeNotice().isEmpty());
    QCOMPARE(spool->losses().damage, 1);
    QCOMPARE(spool->pending(), 15);

    spool.reset();
    spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    QCOMPARE(spool->takeNotice(), QString());
    QCOMPARE(spool->losses().damage, 1);
    QCOMPARE(wordsOf(delivered(*spool)), stored + " n16");
}

/// A file and its log cannot take the place of others at once, so the new one has to be without a log.
void tst_SpoolFaults::newLogIsLeft()
{
    writeImage(folder(), withoutPageOf("n5"));
    {
        std::unique_ptr<Fault> fault;
        beforeChange = [&] {
            if (changes.last() == "remove spool.db.scan-wal" && QFile::exists(pathTo("spool.db.new")) && !fault)
                fault = std::make_unique<Fault>(Fault::Unwritable, pathTo("spool.db.new"));
        };
        QCOMPARE(Spool({}).open(folder()), QStringLiteral("the new spool cannot be written"));
        QVERIFY(fault);
        beforeChange = nullptr;
    }
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(spool.takeNotice(), noticeOf(14, 1));
    QCOMPARE(wordsOf(delivered(spool)), QByteArray("h15 n1 n2 n3 n4 n6 n7 n8 n9 n10 n11 n12 n13 n14"));
}

static constexpr char const *lastMove = "rename spool.db.new spool.db";

/// What a rescue has made takes its place as soon as that can be done, and until then nothing else does.
void tst_SpoolFaults::lastMoveFails()
{
    writeImage(folder(), withoutPageOf("n5"));
    failingMove = lastMove;
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(Spool({}).open(folder()), QStringLiteral("the new spool cannot take its place"));
        QVERIFY(!QFile::exists(databaseOf(folder())));
    }
    failingMove.clear();
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(spool.losses().damage, 1);
    QCOMPARE(wordsOf(delivered(spool)), QByteArray("h15 n1 n2 n3 n4 n6 n7 n8 n9 n10 n11 n12 n13 n14"));
}

void tst_SpoolFaults::lastMoveFailsInUse()
{
    writeImage(folder(), original());
    QCOMPARE(sql(databaseOf(folder()), "UPDATE package SET checksum = 1 WHERE id = 5"), QByteArray());
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(wordsOf(spool.take(everything, everything)), QByteArray("h15"));
    spool.delivered();

    failingMove = lastMove;
    QCOMPARE(wordsOf(spool.take(everything, everything)), QByteArray("n1 n2 n3 n4"));
    spool.giveBack();
    QVERIFY(!spool.save());
    QCOMPARE(spool.problem(), QStringLiteral("the new spool cannot take its place"));
    QVERIFY(!QFile::exists(databaseOf(folder())));
    failingMove.clear();
    QVERIFY(spool.save());
    QCOMPARE(spool.problem(), QString());
    QCOMPARE(spool.takeNotice(), noticeOf(13, 1));
    QCOMPARE(spool.losses().damage, 1);
    QCOMPARE(spool.pending(), 13);
    QCOMPARE(wordsOf(delivered(spool)), QByteArray("n1 n2 n3 n4 n6 n7 n8 n9 n10 n11 n12 n13 n14"));
    // What was damaged is kept, and not what took its place.
    QCOMPARE(sql(damagedOf(folder()), "SELECT checksum FROM package WHERE id = 5"), QByteArray("1"));
}

/// A log that cannot be set aside has no part in the new spool.
void tst_SpoolFaults::damagedLogStays()
{
    writeImage(folder(), withoutPageOf("n5"));
    Fault const fault(Fault::Unwritable, databaseOf(folder()));
    failingMove = "rename spool.db-wal spool.db.damaged-wal";
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(spool.takeNotice(), noticeOf(14, 1));
    QCOMPARE(wordsOf(delivered(spool)), QByteArray("h15 n1 n2 n3 n4 n6 n7 n8 n9 n10 n11 n12 n13 n14"));
}

void tst_SpoolFaults::readFailsWhileInUse_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("file");

    QTest::newRow("the file, an error") << int(Fault::Unreadable) << QByteArray("spool.db");
    QTest::newRow("the file, too many bits") << int(Fault::Uncorrectable) << QByteArray("spool.db");
    QTest::newRow("the file, less than there was") << int(Fault::CutOff) << QByteArray("spool.db");
    QTest::newRow("the log, an error") << int(Fault::Unreadable) << QByteArray("spool.db-wal");
    QTest::newRow("the log, too many bits") << int(Fault::Uncorrectable) << QByteArray("spool.db-wal");
    QTest::newRow("the log, less than there was") << int(Fault::CutOff) << QByteArray("spool.db-wal");
}

void tst_SpoolFaults::readFailsWhileInUse()
{
    QFETCH(int, kind);
    QFETCH(QByteArray, file);

    writeImage(folder(), original());
    auto spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    addWords(*spool, "n16");
    // What SQLite has in memory it does not read.
    sqlite3_db_release_memory(latest);
    {
        // The copy that a rescue makes is read by Qt, and has everything.
        Fault const fault(Fault::Kind(kind), pathTo(file));
        QCOMPARE(wordsOf(spool->take(everything, everything)), QByteArray("h15"));
        QCOMPARE(spool->takeNotice(), noticeOf(15, 0));
    }
    spool->giveBack();
    // It has a number that n16, which is in memory only, does not have.
    addWords(*spool, "n17");
    QVERIFY(spool->save());
    spool.reset();
    spool = std::make_unique<Spool>(SpoolLimits());
    QCOMPARE(spool->open(folder()), QString());
    QCOMPARE(wordsOf(delivered(*spool)), QByteArray("h15 n1 n2 n3 n4 n5 n6 n7 n8 n9 n10 n11 n12 n13 n14 n16 n17"));
    QCOMPARE(spool->losses().total(), 0);
}

/// What the disk does not give back is no more than the page that it is on.
void tst_SpoolFaults::badPage()
{
    QByteArray const large(20'000, 'x');
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        for (int i = 1; i <= 3; ++i)
            spool.add(('n' + QByteArray::number(i)).leftJustified(3000, '.'), false);
        spool.add(large, false);
        QVERIFY(spool.save());
    }
    // The pages behind it have to stay where they are, which the large one's are told by.
    Fault const fault(Fault::BadPage, databaseOf(folder()), read(databaseOf(folder())).indexOf("n2.") / pageSize);
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    QCOMPARE(spool.takeNotice(), noticeOf(3, 1));
    QList<Package> const packages = delivered(spool);
    QCOMPARE(packages.size(), 3);
    QCOMPARE(wordsOf(packages.mid(0, 2)), QByteArray("n1 n3"));
    QCOMPARE(packages.last().body, large);
    QCOMPARE(spool.losses().damage, 1);
}

/// That is no damage.
void tst_SpoolFaults::outOfMemory()
{
    writeImage(folder(), original());
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    sqlite3_db_release_memory(latest);
    sqlite3_hard_heap_limit64(1);
    QCOMPARE(wordsOf(spool.take(everything, everything)), QByteArray());
    addWords(spool, "n16");
    QVERIFY(!spool.save());
    QCOMPARE(spool.problem(), QStringLiteral("out of memory"));
    cleanup();
    QVERIFY(spool.save());
    QCOMPARE(wordsOf(delivered(spool)), QByteArray("h15 n1 n2 n3 n4 n5 n6 n7 n8 n9 n10 n11 n12 n13 n14 n16"));
    QCOMPARE(spool.takeNotice(), QString());
    QVERIFY(!QFile::exists(damagedOf(folder())));
}

QTEST_GUILESS_MAIN(tst_SpoolFaults)
#include "tst_spoolfaults.moc"

#include "patience.h"
#include "spoolsupport.h"

#include <delivery/deliverysender.h>
#include <delivery/deliveryworker_p.h>

#include <QtCore/QDeadlineTimer>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>
#include <QtCore/QSemaphore>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>
#include <QtNetwork/QNetworkReply>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QSslKey>
#include <QtNetwork/QSslSocket>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QTest>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include <sqlite3.h>
#include <sys/resource.h>
#include <zlib.h>

using namespace stbanalytics::delivery;
using namespace std::chrono_literals;

// Nobody pulls the plug here, so nobody has to wait for the disk.
extern "C" int fsync(int)
{
    return 0;
}

extern "C" int fdatasync(int)
{
    return 0;
}

namespace {

struct Request
{
    QByteArray head;
    QByteArray body;

    /// The value of a header, whatever the case of its name; null where there is none.
    QByteArray header(char const *name) const
    {
        QByteArray const prefix = "\r\n" + QByteArray(name).toLower() + ": ";
        qsizetype const at = head.toLower().indexOf(prefix);
        qsizetype const begin = at + prefix.size();
        return at < 0 ? QByteArray() : head.mid(begin, head.indexOf("\r\n", begin) - begin);
    }
};

struct Reply
{
    QByteArray bytes;
    bool closes = false;
};

/// A file of tests/delivery/tls, where `make` says what is in each.
QString tlsFile(char const *name)
{
    return QStringLiteral(TLS_DATA "/%1").arg(QLatin1String(name));
}

/// Speaks TLS if it has a certificate.
class Server : public QTcpServer
{
public:
    explicit Server(char const *certificate)
        : m_certificate(certificate)
    {
    }

    bool isSecure() const { return m_certificate != nullptr; }

protected:
    void incomingConnection(qintptr descriptor) override
    {
        if (!isSecure()) {
            QTcpServer::incomingConnection(descriptor);
            return;
        }
        auto *const socket = new QSslSocket(this);
        socket->setSocketDescriptor(descriptor);
        socket->setLocalCertificate(tlsFile(m_certificate));
        socket->setPrivateKey(tlsFile("collector.key"), QSsl::Ec);
        socket->startServerEncryption();
        addPendingConnection(socket);
    }

private:
    char const *m_certificate;
};

/// A collector that answers what it is told to.
class Peer
{
public:
    explicit Peer(std::function<Reply(Request const &)> answer, char const *certificate = nullptr)
        : m_answer(std::move(answer))
        , m_server(certificate)
    {
        if (!m_server.listen(QHostAddress::LocalHost))
            qFatal("no port: %s", qPrintable(m_server.errorString()));
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            QTcpSocket *const socket = m_server.nextPendingConnection();
            QObject::connect(socket, &QTcpSocket::readyRead, socket,
                             [this, socket, read = QByteArray()]() mutable { receive(*socket, read); });
        });
    }

    QUrl url() const
    {
        return QUrl(QStringLiteral("%1://127.0.0.1:%2/packages?box=7")
                        .arg(QLatin1String(m_server.isSecure() ? "https" : "http"))
                        .arg(m_server.serverPort()));
    }

    QList<Request> requests;

    QList<QByteArray> bodies() const
    {
        QList<QByteArray> bodies;
        for (Request const &request : requests)
            bodies.append(request.body);
        return bodies;
    }

private:
    void receive(QTcpSocket &socket, QByteArray &read)
    {
        read += socket.readAll();
        qsizetype const end = read.indexOf("\r\n\r\n");
        Request request{read.left(end + 2), read.mid(end + 4)};
        if (end < 0 || request.body.size() < request.header("content-length").toInt())
            return;
        read.clear();
        requests.append(request);
        Reply const reply = m_answer(request);
        socket.write(reply.bytes);
        if (reply.closes)
            socket.disconnectFromHost();
    }

    std::function<Reply(Request const &)> m_answer;
    Server m_server;
};

QByteArray answer(QByteArray const &status, QByteArray const &body = {})
{
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

Reply accept(Request const &)
{
    return {answer("200 OK", R"({"accepted":1,"repeated":0})")};
}

Reply sayNothing(Request const &)
{
    return {};
}

/// Where one wait was in vain the program has failed, and the further ones end soon.
bool waitFor(std::function<bool()> const &isSo)
{
    static int longest = patience();
    QDeadlineTimer const end(longest);
    QTimer look; // What the delivery's thread does is no event here.
    look.start(1ms);
    while (!isSo()) {
        if (end.hasExpired()) {
            longest = 1000;
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

/// Posts one request, and waits for what becomes of it.
Answer posted(CollectorLink &link, QByteArray const &json = "{}")
{
    std::optional<Answer> result;
    link.post(json, [&](Answer const &answer) { result = answer; });
    if (!waitFor([&] { return result.has_value(); }))
        qFatal("no answer");
    return *result;
}

Answer posted(LinkOptions const &options, QByteArray const &json = "{}")
{
    CollectorLink link(options);
    return posted(link, json);
}

/// What the packages of a request are, such as "[h1] n2 n3", the brackets standing for a high priority.
QByteArray wordsOf(QByteArray const &body)
{
    QList<QByteArray> words;
    for (QJsonValue const package : QJsonDocument::fromJson(body)[QLatin1String("packages")].toArray()) {
        QByteArray const word = package[QLatin1String("package")][QLatin1String("is")].toString().toLatin1();
        words.append(package[QLatin1String("priority")].toString() == QLatin1String("high") ? '[' + word + ']' : word);
    }
    return words.join(' ');
}

QList<QByteArray> wordsOf(QList<QByteArray> const &bodies)
{
    QList<QByteArray> words;
    for (QByteArray const &body : bodies)
        words.append(wordsOf(body));
    return words;
}

/// Whether one of a request's packages is bad. Its keys, made by chance, may have these letters too.
bool isBad(Request const &request)
{
    return wordsOf(request.body).contains("bad");
}

/// A package that is a word, of 100 bytes.
QByteArray package(QByteArray const &word)
{
    return ("{\"is\":\"" + word + '"').leftJustified(99) + '}';
}

using Words = QList<QByteArray>;

/// A disk that takes nothing, for as long as it lives.
class FullDisk
{
public:
    FullDisk()
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit const nothing{0, m_before.rlim_max};
        if (setrlimit(RLIMIT_FSIZE, &nothing) != 0)
            qFatal("no limit");
    }

    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &m_before); }
    Q_DISABLE_COPY_MOVE(FullDisk)

private:
    rlimit m_before{};
};

/// A sender whose thread is held where it has just saved a package, as by a disk that is stuck.
class StuckSender
{
public:
    explicit StuckSender(DeliveryOptions options)
        : sender(stuck(std::move(options)))
    {
        if (!sender.start().isEmpty())
            qFatal("no spool");
        sender.send(package("n0"), false);
        m_reached.acquire();
    }

    /// The sender's end waits for its thread, also where the test has failed.
    ~StuckSender() { release(); }
    Q_DISABLE_COPY_MOVE(StuckSender)

    void release() { m_released.release(1'000'000); }

private:
    DeliveryOptions stuck(DeliveryOptions options)
    {
        options.safe = [this](QByteArray const &) {
            m_reached.release();
            m_released.acquire();
        };
        return options;
    }

    QSemaphore m_reached;
    QSemaphore m_released;

public:
    DeliverySender sender;
};

/// The delivery's worker, on the test's own thread. Its timers go off by hand.
class DeliveryByHand
{
public:
    explicit DeliveryByHand(DeliveryOptions const &options)
        : m_options(options)
        , m_worker(m_options, m_queue)
    {
        if (!m_worker.open().isEmpty())
            qFatal("no spool");
        m_worker.begin();
        timer(false).stop();
    }

    DeliveryState state() const { return m_queue.state(); }

    void send(QByteArray const &package, bool isHigh)
    {
        m_queue.push(package, isHigh);
        m_worker.drainQueue();
    }

    /// How long the next attempt is to wait.
    std::chrono::milliseconds wait() const { return timer(true).intervalAsDuration(); }

    /// The wait for the next attempt is over.
    void endWait() { goOff(timer(true)); }

    /// It is time to look after the spool.
    void lookAfterSpool() { goOff(timer(false)); }

private:
    QTimer &timer(bool isSingleShot) const
    {
        QList<QTimer *> const timers = m_worker.findChildren<QTimer *>();
        auto const it = std::find_if(timers.begin(), timers.end(),
                                     [&](QTimer const *timer) { return timer->isSingleShot() == isSingleShot; });
        if (it == timers.end())
            qFatal("no timer");
        return **it;
    }

    static void goOff(QTimer &timer)
    {
        timer.stop();
        QMetaObject::invokeMethod(&timer, "timeout");
    }

    DeliveryOptions const m_options;
    PackageQueue m_queue;
    DeliveryWorker m_worker;
};

/// Counts the replies of Qt Network that are deleted on this thread.
class DeletedReplies : public QObject
{
public:
    DeletedReplies() { QCoreApplication::instance()->installEventFilter(this); }

    int count = 0;

protected:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() == QEvent::DeferredDelete && qobject_cast<QNetworkReply *>(object))
            ++count;
        return false;
    }
};

/// The certificates that Qt takes for the system's, for as long as it lives.
class SystemCertificates
{
public:
    explicit SystemCertificates(char const *file)
        : m_before(QSslConfiguration::defaultConfiguration())
    {
        QSslConfiguration configuration = m_before;
        configuration.setCaCertificates(QSslCertificate::fromPath(tlsFile(file)));
        QSslConfiguration::setDefaultConfiguration(configuration);
    }

    ~SystemCertificates() { QSslConfiguration::setDefaultConfiguration(m_before); }
    Q_DISABLE_COPY_MOVE(SystemCertificates)

private:
    QSslConfiguration m_before;
};

} // namespace

class tst_Delivery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void problems_data();
    void problems();
    void request_data();
    void request();
    void answers_data();
    void answers();
    void noAnswer_data();
    void noAnswer();
    void nobodyThere();
    void repliesAreDeleted();
    void certificates_data();
    void certificates();
    void certificateThatWasWrong();
    void certificateThatDoesNotFit();
    void clockNotSet();

    void delivers();
    void bytesAsTheyAre();
    void highFirst();
    void batches_data();
    void batches();
    void compressed();
    void triesAgain_data();
    void triesAgain();
    void staysAwayAsTold();
    void waitsAfterStart();
    void longestWait();
    void successEndsBackoff();
    void wrongAddress();
    void addressThatIsGoneForAWhile();
    void refusedAlone_data();
    void refusedAlone();
    void refusedInABatch();
    void highAmongRefused();
    void tooLarge();
    void goesOnAfterRestart();

    void emptyPackage();
    void sendWaitsForNothing();
    void queueLimit();
    void droppedAreCountedOnce();
    void severalThreads();
    void stateIsWhole();
    void stopGivesUp();
    void stopSpools();
    void safeIsOnTheDisk();
    void deliveredIsSaved();
    void diskFull();
    void diskFullWhilePackagesCome();
    void spoolThatCannotBeRead();
    void startFails();

    void unsetCallbacks_data();
    void unsetCallbacks();
    void toldOnceItIsSaved();
    void callbacksMayUseTheSender();

private:
    QString folder() const { return m_directory->path(); }
    DeliveryOptions optionsFor(Peer const &peer);
    void addToSpool(Words const &words) const;
    void copySpool(QTemporaryDir const &target) const;
    QList<QByteArray> onTheDisk() const;
    qint64 refusedOnTheDisk() const;
    Words spooled() const;
    QStringList notices() const;

    std::unique_ptr<QTemporaryDir> m_directory;
    mutable QMutex m_mutex;
    QStringList m_notices;
};

void tst_Delivery::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(m_directory->isValid());
    m_notices.clear();
}

/// No waits to speak of.
DeliveryOptions tst_Delivery::optionsFor(Peer const &peer)
{
    DeliveryOptions options;
    options.link.url = peer.url();
    options.link.timeout = 1h;
    options.folder = folder();
    options.backoff = {1ms, 1ms, 0ms};
    options.notice = [this](QString const &line) {
        QMutexLocker const locker(&m_mutex);
        m_notices.append(line);
    };
    return options;
}

QStringList tst_Delivery::notices() const
{
    QMutexLocker const locker(&m_mutex);
    return m_notices;
}

/// What an earlier run has left; a word in brackets is of high priority.
void tst_Delivery::addToSpool(Words const &words) const
{
    Spool spool({});
    QCOMPARE(spool.open(folder()), QString());
    for (QByteArray const &word : words) {
        bool const isHigh = word.startsWith('[');
        spool.add(package(isHigh ? word.mid(1, word.size() - 2) : word), isHigh);
    }
    QVERIFY(spool.save());
}

/// What a power-off would leave now.
void tst_Delivery::copySpool(QTemporaryDir const &target) const
{
    for (char const *name : {"/spool.db", "/spool.db-wal"})
        QFile::copy(folder() + QLatin1String(name), target.path() + QLatin1String(name));
}

/// The packages that a power-off would leave now, in the order in which they would be sent.
QList<QByteArray> tst_Delivery::onTheDisk() const
{
    QTemporaryDir const copy;
    copySpool(copy);
    QByteArray const rows
        = sql(databaseOf(copy.path()), "SELECT body FROM package WHERE class > 0 ORDER BY class DESC, id");
    return rows.isEmpty() ? QList<QByteArray>() : rows.split('\n');
}

/// How many packages are set aside, after a power-off.
qint64 tst_Delivery::refusedOnTheDisk() const
{
    QTemporaryDir const copy;
    copySpool(copy);
    return sql(databaseOf(copy.path()), "SELECT count(*) FROM package WHERE class = 0").toLongLong();
}

Words tst_Delivery::spooled() const
{
    Words words;
    for (QByteArray const &body : onTheDisk())
        words.append(QJsonDocument::fromJson(body)[QLatin1String("is")].toString().toLatin1());
    return words;
}

void tst_Delivery::problems_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("caFile");
    QTest::addColumn<QString>("problem");

    QString const url = QStringLiteral("expected http:// or https:// and a host");
    // clang-format off
    QTest::newRow("http")           << QStringLiteral("http://127.0.0.1:8080/packages") << QString()                            << QString();
    QTest::newRow("https")          << QStringLiteral("https://collector.invalid")      << QString()                            << QString();
    QTest::newRow("empty")          << QString()                                        << QString()                            << url;
    QTest::newRow("no scheme")      << QStringLiteral("127.0.0.1:8080")                 << QString()                            << url;
    QTest::newRow("another scheme") << QStringLiteral("ftp://127.0.0.1/")               << QString()                            << url;
    QTest::newRow("a file")         << QStringLiteral("file:///packages")               << QString()                            << url;
    QTest::newRow("no host")        << QStringLiteral("http:///packages")               << QString()                            << url;
    QTest::newRow("port 0")         << QStringLiteral("http://127.0.0.1:0/")            << QString()                            << url;
    QTest::newRow("no port")        << QStringLiteral("http://127.0.0.1:port/")         << QString()                            << url;
    QTest::newRow("no file")        << QStringLiteral("https://collector.invalid")      << QStringLiteral("/none.pem")          << QStringLiteral("/none.pem: No such file or directory");
    QTest::newRow("no certificate") << QStringLiteral("https://collector.invalid")      << QStringLiteral("/proc/self/cmdline") << QStringLiteral("/proc/self/cmdline: no certificate in PEM");
    // clang-format on
}

void tst_Delivery::problems()
{
    QFETCH(QString, url);
    QFETCH(QString, caFile);
    QFETCH(QString, problem);

    if (url.startsWith(QLatin1String("https")) && !QSslSocket::supportsSsl())
        QSKIP("this Qt has no TLS");
    LinkOptions options;
    options.url = QUrl(url, QUrl::StrictMode);
    options.caFile = caFile;
    QCOMPARE(problemOf(options), problem);
}

static QByteArray inflated(QByteArray const &gzip)
{
    constexpr int gzipForm = 16;
    QByteArray result(1'000'000, '\0');
    z_stream stream{};
    inflateInit2(&stream, MAX_WBITS + gzipForm);
    QByteArray input = gzip;
    stream.next_in = reinterpret_cast<Bytef *>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef *>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    int const end = inflate(&stream, Z_FINISH);
    bool const isAll = end == Z_STREAM_END && stream.avail_in == 0;
    result.truncate(static_cast<qsizetype>(stream.total_out));
    inflateEnd(&stream);
    return isAll ? result : "not one stream in gzip's form";
}

void tst_Delivery::request_data()
{
    QTest::addColumn<bool>("isCompressed");
    QTest::addColumn<QByteArray>("json");
    for (bool isCompressed : {false, true}) {
        char const *const form = isCompressed ? "compressed" : "plain";
        QTest::addRow("%s, short", form) << isCompressed << QByteArray(R"({"packages":[]})");
        QTest::addRow("%s, long", form) << isCompressed << QByteArray(R"({"is":"n1"},)").repeated(50'000);
    }
}

void tst_Delivery::request()
{
    QFETCH(bool, isCompressed);
    QFETCH(QByteArray, json);

    Peer peer(accept);
    LinkOptions options;
    options.url = peer.url();
    options.isCompressed = isCompressed;
    QCOMPARE(posted(options, json).kind, Answer::Delivered);
    QCOMPARE(peer.requests.size(), 1);
    Request const &request = peer.requests.first();
    QVERIFY2(request.head.startsWith("POST /packages?box=7 HTTP/1.1\r\n"), request.head.constData());
    QCOMPARE(request.header("Host"), peer.url().authority().toLatin1());
    QCOMPARE(request.header("Content-Type"), QByteArray("application/json"));
    QCOMPARE(request.header("Content-Length"), QByteArray::number(request.body.size()));
    QCOMPARE(request.header("Content-Encoding"), isCompressed ? QByteArray("gzip") : QByteArray());
    QVERIFY(request.header("Transfer-Encoding").isNull());
    if (isCompressed) {
        QCOMPARE(inflated(request.body), json);
        QVERIFY(request.body.size() < 10'000);
    } else {
        QCOMPARE(request.body, json);
    }
}

void tst_Delivery::answers_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<Answer::Kind>("kind");
    QTest::addColumn<QString>("reason");
    QTest::addColumn<int>("retryAfter");

    auto const row
        = [](char const *name, QByteArray const &bytes, Answer::Kind kind, char const *reason, int retryAfter = 0) {
              QTest::newRow(name) << bytes << kind << QString::fromUtf8(reason) << retryAfter;
          };
    auto const retry = [&row](char const *name, QByteArray const &headers, int seconds) {
        row(name, "HTTP/1.1 503 Busy\r\n" + headers + "Content-Length: 0\r\n\r\n", Answer::Unavailable, "HTTP 503 ",
            seconds);
    };
    // clang-format off
    row("200",  answer("200 OK", R"({"accepted":1,"repeated":0})"),            Answer::Delivered,   "");
    row("201",  answer("201 Created"),                                         Answer::Delivered,   "");
    row("202",  answer("202 Accepted", "later"),                               Answer::Delivered,   "");
    row("204",  "HTTP/1.1 204 No Content\r\n\r\n",                             Answer::Delivered,   "");
    row("200, in chunks", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n", Answer::Delivered, "");
    row("100 first", "HTTP/1.1 100 Continue\r\n\r\n" + answer("200 OK"),       Answer::Delivered,   "");
    row("301",  "HTTP/1.1 301 Moved\r\nLocation: /\r\nContent-Length: 0\r\n\r\n",          Answer::Unavailable, "HTTP 301 ");
    row("302",  "HTTP/1.1 302 Sign in\r\nLocation: http://127.0.0.1:1/\r\nContent-Length: 0\r\n\r\n", Answer::Unavailable, "HTTP 302 ");
    row("304",  "HTTP/1.1 304 Not Modified\r\n\r\n",                           Answer::Unavailable, "HTTP 304 ");
    row("307",  "HTTP/1.1 307 There\r\nLocation: /\r\nContent-Length: 0\r\n\r\n",          Answer::Unavailable, "HTTP 307 ");
    row("308",  "HTTP/1.1 308 There\r\nLocation: /\r\nContent-Length: 0\r\n\r\n",          Answer::Unavailable, "HTTP 308 ");
    row("400",  answer("400 Bad Request", R"({"error":"not JSON"})"),          Answer::Refused,     R"(HTTP 400 {"error":"not JSON"})");
    row("401",  answer("401 Unauthorized"),                                    Answer::NotThere,    "HTTP 401 ");
    row("401, how", "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\nContent-Length: 0\r\n\r\n", Answer::NotThere, "HTTP 401 ");
    row("403",  answer("403 Forbidden"),                                       Answer::NotThere,    "HTTP 403 ");
    row("404",  answer("404 Not Found", "nothing\r\n  here\n"),                Answer::NotThere,    "HTTP 404 nothing here");
    row("405",  answer("405 Method Not Allowed"),                              Answer::NotThere,    "HTTP 405 ");
    row("page", "HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: 7\r\n\r\nSign in", Answer::Unavailable, "HTTP 200 Sign in");
    row("page without a body", "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: 0\r\n\r\n", Answer::Unavailable, "HTTP 200 ");
    row("400, a page", "HTTP/1.1 400 No\r\nContent-Type: text/html\r\nContent-Length: 2\r\n\r\nno", Answer::Refused, "HTTP 400 no");
    row("404, a page", "HTTP/1.1 404 No\r\nContent-Type: text/html\r\nContent-Length: 2\r\n\r\nno", Answer::NotThere, "HTTP 404 no");
    row("422, later", "HTTP/1.1 422 No\r\nRetry-After: 5\r\nContent-Length: 0\r\n\r\n", Answer::Unavailable, "HTTP 422 ", 5);
    row("413, later", "HTTP/1.1 413 No\r\nRetry-After: 5\r\nContent-Length: 0\r\n\r\n", Answer::Unavailable, "HTTP 413 ", 5);
    row("407",  answer("407 Proxy"),                                           Answer::NotThere,    "HTTP 407 ");
    row("408",  answer("408 Request Timeout"),                                 Answer::Unavailable, "HTTP 408 ");
    row("410",  answer("410 Gone"),                                            Answer::NotThere,    "HTTP 410 ");
    row("413",  answer("413 Content Too Large"),                               Answer::TooLarge,    "HTTP 413 ");
    row("415",  answer("415 Unsupported Media Type"),                          Answer::Refused,     "HTTP 415 ");
    row("422",  answer("422 Unprocessable", "n\xC3\xA4h"),                     Answer::Refused,     "HTTP 422 n\xC3\xA4h");
    row("425",  answer("425 Too Early"),                                       Answer::Unavailable, "HTTP 425 ");
    row("429",  answer("429 Too Many Requests"),                               Answer::Unavailable, "HTTP 429 ");
    row("499",  answer("499 What"),                                            Answer::Refused,     "HTTP 499 ");
    row("500",  answer("500 Internal Server Error", "why not"),                Answer::Unavailable, "HTTP 500 why not");
    row("501",  answer("501 Not Implemented"),                                 Answer::Unavailable, "HTTP 501 ");
    row("502",  answer("502 Bad Gateway"),                                     Answer::Unavailable, "HTTP 502 ");
    row("503",  answer("503 Service Unavailable"),                             Answer::Unavailable, "HTTP 503 ");
    row("504",  answer("504 Gateway Timeout"),                                 Answer::Unavailable, "HTTP 504 ");
    row("599",  answer("599 What"),                                            Answer::Unavailable, "HTTP 599 ");
    row("long", answer("400 Bad Request", QByteArray(1'000'000, 'x')),         Answer::Refused,     ("HTTP 400 " + QByteArray(200, 'x')).constData());

    retry("in seconds",          "Retry-After: 120\r\n",   120);
    retry("with blanks",         "retry-after:   120  \r\n", 120);
    retry("at once",             "Retry-After: 0\r\n",     0);
    retry("in the past",         "Retry-After: -5\r\n",    0);
    retry("a day",               "Retry-After: 86400\r\n", 86'400);
    retry("more than a day",     "Retry-After: 86401\r\n", 86'400);
    retry("a fraction",          "Retry-After: 1.5\r\n",   0);
    retry("a word",              "Retry-After: soon\r\n",  0);
    retry("nothing",             "Retry-After:\r\n",       0);
    retry("at a time",           "Date: Sun, 06 Nov 1994 08:49:37 GMT\r\nRetry-After: Sun, 06 Nov 1994 09:49:38 GMT\r\n", 3601);
    retry("the next year",       "Date: Sat, 31 Dec 2022 23:59:59 GMT\r\nRetry-After: Sun, 01 Jan 2023 00:00:01 GMT\r\n", 2);
    retry("at a time long gone", "Date: Sun, 06 Nov 1994 08:49:37 GMT\r\nRetry-After: Sun, 06 Nov 1994 08:49:36 GMT\r\n", 0);
    retry("at a time next week", "Date: Sun, 06 Nov 1994 08:49:37 GMT\r\nRetry-After: Sun, 13 Nov 1994 08:49:37 GMT\r\n", 86'400);
    retry("at a time, not now",  "Retry-After: Fri, 31 Dec 2100 23:59:59 GMT\r\n", 0);
    retry("at no time",          "Date: Sun, 06 Nov 1994 08:49:37 GMT\r\nRetry-After: Sun, 36 Nov 1994 08:49:37 GMT\r\n", 0);
    row("429, in seconds", "HTTP/1.1 429 Slow\r\nRetry-After: 7\r\nContent-Length: 0\r\n\r\n", Answer::Unavailable, "HTTP 429 ", 7);
    // clang-format on
}

void tst_Delivery::answers()
{
    QFETCH(QByteArray, bytes);
    QFETCH(Answer::Kind, kind);
    QFETCH(QString, reason);
    QFETCH(int, retryAfter);

    Peer peer([&](Request const &) { return Reply{bytes}; });
    LinkOptions options;
    options.url = peer.url();
    Answer const answer = posted(options);
    QCOMPARE(answer.kind, kind);
    QCOMPARE(answer.reason, reason);
    QCOMPARE(qint64(answer.retryAfter.count()), retryAfter * 1000);
    QCOMPARE(peer.requests.size(), 1);
}

void tst_Delivery::noAnswer_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("closes");

    // clang-format off
    struct { char const *name; QByteArray bytes; } const beginnings[] = {
        {"nothing",         ""},
        {"status line",     "HTTP/1.1 20"},
        {"headers",         "HTTP/1.1 200 OK\r\nContent-Le"},
        {"no body",         "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n"},
        {"part of a body",  "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n{\"acc"},
        {"part of a chunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nA\r\n{\"acc"},
        {"no last chunk",   "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n"},
    };
    // clang-format on
    for (auto const &[name, bytes] : beginnings) {
        // Where an answer in chunks is cut off, Qt 6.4 takes it for a whole one now and then.
        if (!bytes.contains("chunked"))
            QTest::addRow("%s, cut off", name) << bytes << true;
        QTest::addRow("%s, and no more", name) << bytes << false;
    }
    QTest::newRow("another protocol") << QByteArray("220 mail.invalid ESMTP\r\n") << true;
    QTest::newRow("no protocol") << QByteArray("\0\1\2\3\r\n\r\n", 8) << true;
}

void tst_Delivery::noAnswer()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, closes);

    Peer peer([&](Request const &) { return Reply{bytes, closes}; });
    LinkOptions options;
    options.url = peer.url();
    options.timeout = closes ? 1h : 1ms;
    Answer const answer = posted(options);
    QCOMPARE(answer.kind, Answer::Unavailable);
    QVERIFY(!answer.reason.isEmpty());
    QVERIFY(!answer.reason.contains(QLatin1Char('\n')));
    QCOMPARE(qint64(answer.retryAfter.count()), 0);
}

void tst_Delivery::nobodyThere()
{
    LinkOptions options;
    options.url = Peer(accept).url();
    QCOMPARE(posted(options).kind, Answer::Unavailable);

    if (!QSslSocket::supportsSsl())
        QSKIP("this Qt has no TLS");
    // Somebody is, but does not speak TLS.
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    connect(&server, &QTcpServer::newConnection, this, [&] { server.nextPendingConnection()->write("what?\n"); });
    options.url = QUrl(QStringLiteral("https://127.0.0.1:%1/").arg(server.serverPort()));
    QCOMPARE(posted(options).kind, Answer::Unavailable);
}

void tst_Delivery::repliesAreDeleted()
{
    Peer peer(accept);
    LinkOptions options;
    options.url = peer.url();
    DeletedReplies deleted;
    CollectorLink link(options);
    for (int i = 1; i <= 3; ++i) {
        QCOMPARE(posted(link).kind, Answer::Delivered);
        QVERIFY(waitFor([&] { return deleted.count == i; }));
    }
}

/// What was wrong with a certificate says nothing of the next attempt.
void tst_Delivery::certificateThatWasWrong()
{
    if (!QSslSocket::supportsSsl())
        QSKIP("this Qt has no TLS");
    SystemCertificates const certificates("authority.pem");
    auto peer = std::make_unique<Peer>(accept, "elsewhere.pem");
    LinkOptions options;
    options.url = peer->url();
    CollectorLink link(options);
    QCOMPARE(posted(link).kind, Answer::Misconfigured);
    peer.reset();
    QCOMPARE(posted(link).kind, Answer::Unavailable);
}

void tst_Delivery::certificates_data()
{
    QTest::addColumn<QByteArray>("certificate");
    QTest::addColumn<QByteArray>("system");
    QTest::addColumn<QByteArray>("caFile");
    QTest::addColumn<Answer::Kind>("kind");
    QTest::addColumn<QSslError::SslError>("error");

    auto const row = [](char const *name, char const *certificate, char const *system, char const *caFile,
                        Answer::Kind kind, QSslError::SslError error = QSslError::NoError) {
        QTest::newRow(name) << QByteArray(certificate) << QByteArray(system) << QByteArray(caFile) << kind << error;
    };
    // clang-format off
    row("trusted",                        "collector.pem",     "other_authority.pem", "authority.pem",       Answer::Delivered);
    row("trusted by the system",          "collector.pem",     "authority.pem",       "",                    Answer::Delivered);
    row("trusted by the system, besides", "collector.pem",     "authority.pem",       "other_authority.pem", Answer::Delivered);
    row("not trusted",                    "collector.pem",     "other_authority.pem", "",                    Answer::Misconfigured);
    row("not trusted, besides",           "collector.pem",     "other_authority.pem", "other_authority.pem", Answer::Misconfigured);
    row("another host's",                 "elsewhere.pem",     "authority.pem",       "",                    Answer::Misconfigured, QSslError::HostNameMismatch);
    row("expired",                        "expired.pem",       "authority.pem",       "",                    Answer::Misconfigured, QSslError::CertificateExpired);
    row("not valid yet",                  "not_yet.pem",       "authority.pem",       "",                    Answer::Unavailable);
    row("not valid yet, another host's",  "not_yet_there.pem", "authority.pem",       "",                    Answer::Misconfigured, QSslError::HostNameMismatch);
    // clang-format on
}

void tst_Delivery::certificates()
{
    QFETCH(QByteArray, certificate);
    QFETCH(QByteArray, system);
    QFETCH(QByteArray, caFile);
    QFETCH(Answer::Kind, kind);
    QFETCH(QSslError::SslError, error);

    if (!QSslSocket::supportsSsl())
        QSKIP("this Qt has no TLS");
    SystemCertificates const certificates(system.constData());
    Peer peer(accept, certificate.constData());
    LinkOptions options;
    options.url = peer.url();
    if (!caFile.isEmpty())
        options.caFile = tlsFile(caFile.constData());
    QCOMPARE(problemOf(options), QString());
    Answer const answer = posted(options);
    QCOMPARE(answer.kind, kind);
    QCOMPARE(answer.reason.isEmpty(), kind == Answer::Delivered);
    if (error != QSslError::NoError)
        QCOMPARE(answer.reason, QSslError(error).errorString());
    // Who is not trusted gets nothing.
    QCOMPARE(peer.bodies(), kind == Answer::Delivered ? Words({"{}"}) : Words());
}

void tst_Delivery::certificateThatDoesNotFit()
{
    if (!QSslSocket::supportsSsl())
        QSKIP("this Qt has no TLS");
    SystemCertificates const certificates("authority.pem");
    addToSpool({"n1"});
    {
        Peer peer(accept, "elsewhere.pem");
        DeliverySender sender(optionsFor(peer));
        QCOMPARE(sender.start(), QString());
        QVERIFY(waitFor([&] { return !sender.state().misconfiguration.isEmpty(); }));
        QCOMPARE(sender.state().misconfiguration, QSslError(QSslError::HostNameMismatch).errorString());
        QCOMPARE(sender.state().failedAttempts, 0);
        sender.send(package("n2"), false);
        sender.stop();
        QCOMPARE(peer.requests.size(), 0);
        QCOMPARE(sender.state().pending, 2);
        QCOMPARE(spooled(), Words({"n1", "n2"}));
    }
    Peer peer(accept, "collector.pem");
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    QVERIFY(waitFor([&] { return sender.state().sent == 2; }));
    QCOMPARE(wordsOf(peer.bodies()), Words({"n1 n2"}));
}

/// In 1970 no certificate is valid yet: that is no reason to give up.
void tst_Delivery::clockNotSet()
{
    if (!QSslSocket::supportsSsl())
        QSKIP("this Qt has no TLS");
    SystemCertificates const certificates("authority.pem");
    addToSpool({"n1"});
    Peer peer(accept, "not_yet.pem");
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    QVERIFY(waitFor([&] { return sender.state().failedAttempts >= 2; }));
    QCOMPARE(sender.state().misconfiguration, QString());
    sender.stop();
    QCOMPARE(peer.requests.size(), 0);
    QCOMPARE(spooled(), Words({"n1"}));
}

void tst_Delivery::delivers()
{
    Peer peer(accept);
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    sender.send(package("n1"), false);
    QVERIFY(waitFor([&] { return sender.state().sent == 1; }));
    sender.send(package("h2"), true);
    QVERIFY(waitFor([&] { return sender.state().sent == 2; }));
    QCOMPARE(wordsOf(peer.bodies()), Words({"n1", "[h2]"}));

    DeliveryState const state = sender.state();
    QCOMPARE(state.taken, 2);
    QCOMPARE(state.pending, 0);
    QCOMPARE(state.unsaved, 0);
    QCOMPARE(state.refused, 0);
    QCOMPARE(state.failedAttempts, 0);
    QCOMPARE(state.losses.total(), 0);
    QCOMPARE(state.failure, QString());
    QCOMPARE(state.misconfiguration, QString());
    QVERIFY(!state.nextAttempt);
    sender.stop();
    QCOMPARE(spooled(), Words());
    QCOMPARE(notices(), QStringList());
}

void tst_Delivery::bytesAsTheyAre()
{
    Peer peer(accept);
    {
        Spool spool({});
        QCOMPARE(spool.open(folder()), QString());
        spool.add("{\"events\": [ 1.0, 1e2, \"\\u00e9\xC3\xA9\" ] }", false);
        spool.add("{\"a\":1,\"a\":1}", false);
        spool.add("{}", true);
        QVERIFY(spool.save());
    }
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    QVERIFY(waitFor([&] { return sender.state().sent == 3; }));

    QRegularExpression const key(
        QStringLiteral("\"[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}\""));
    QStringList bodies;
    for (QByteArray const &body : peer.bodies())
        bodies.append(QString::fromUtf8(body).replace(key, QStringLiteral("KEY")));
    QCOMPARE(
        bodies,
        QStringList({QStringLiteral(R"({"packages":[{"key":KEY,"priority":"high","package":{}}]})"),
                     QStringLiteral(R"({"packages":[{"key":KEY,"priority":"normal","package":{"events": [ 1.0, 1e2, )"
                                    "\"\\u00e9\u00e9\" ] }},"
                                    R"({"key":KEY,"priority":"normal","package":{"a":1,"a":1}}]})")}));
}

void tst_Delivery::highFirst()
{
    addToSpool({"n1", "[h2]", "n3", "[h4]"});
    Peer peer(accept);
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    QVERIFY(waitFor([&] { return sender.state().sent == 4; }));
    QCOMPARE(wordsOf(peer.bodies()), Words({"[h2]", "[h4]", "n1 n3"}));
}

void tst_Delivery::batches_data()
{
    QTest::addColumn<qint64>("batchBytes");
    QTest::addColumn<int>("packages");
    QTest::addColumn<QList<int>>("sizes");

    // clang-format off
    QTest::newRow("in one")           << qint64(500)     << 5   << QList<int>{5};
    QTest::newRow("a byte too few")   << qint64(499)     << 5   << QList<int>{4, 1};
    QTest::newRow("in twos")          << qint64(200)     << 5   << QList<int>{2, 2, 1};
    QTest::newRow("smaller than one") << qint64(1)       << 3   << QList<int>{1, 1, 1};
    QTest::newRow("so many")          << qint64(100'000) << 401 << QList<int>{200, 200, 1};
    // clang-format on
}

void tst_Delivery::batches()
{
    QFETCH(qint64, batchBytes);
    QFETCH(int, packages);
    QFETCH(QList<int>, sizes);

    Words words;
    for (int i = 0; i < packages; ++i)
        words.append("n" + QByteArray::number(i));
    addToSpool(words);

    Peer peer(accept);
    DeliveryOptions options = optionsFor(peer);
    options.batchBytes = batchBytes;
    DeliverySender sender(options);
    QCOMPARE(sender.start(), QString());
    QVERIFY(waitFor([&] { return sender.state().sent == packages; }));
    Words const received = wordsOf(peer.bodies());
    QCOMPARE(received.join(' '), words.join(' '));
    QList<int> receivedSizes;
    for (QByteArray const &request : received)
        receivedSizes.append(static_cast<int>(request.count(' ')) + 1);
    QCOMPARE(receivedSizes, sizes);
}

void tst_Delivery::compressed()
{
    addToSpool({"n1", "n2"});
    Peer peer(accept);
    DeliveryOptions options = optionsFor(peer);
    options.link.isCompressed = true;
    DeliverySender sender(options);
    QCOMPARE(sender.start(), QString());
    QVERIFY(waitFor([&] { return sender.state().sent == 2; }));
    QCOMPARE(peer.requests.size(), 1);
    QCOMPARE(wordsOf(inflated(peer.requests.first().body)), QByteArray("n1 n2"));
}

void tst_Delivery::triesAgain_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("closes");
    QTest::addColumn<QString>("failure");

    QTest::newRow("503") << answer("503 Busy", "later") << false << QStringLiteral("HTTP 503 later");
    QTest::newRow("429") << answer("429 Slow") << false << QStringLiteral("HTTP 429 ");
    QTest::newRow("302") << answer("302 Sign in") << false << QStringLiteral("HTTP 302 ");
    QTest::newRow("an answer cut off") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{") << true
                                       << QStringLiteral("Connection closed");
}

void tst_Delivery::triesAgain()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, closes);
    QFETCH(QString, failure);

    addToSpool({"n1", "n2"});
    bool isAway = true;
    Peer peer([&](Request const &request) { return isAway ? Reply{bytes, closes} : accept(request); });
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    QVERIFY(waitFor([&] { return sender.state().failedAttempts >= 3 || sender.state().sent > 0; }));
    QCOMPARE(sender.state().failure, failure);
    QCOMPARE(sender.state().pending, 2);
    QCOMPARE(sender.state().sent, 0);
    isAway = false;
    QVERIFY(waitFor([&] { return sender.state().sent == 2; }));
    QCOMPARE(sender.state().pending, 0);
    QCOMPARE(sender.state().failure, QString());
    QCOMPARE(sender.state().failedAttempts, peer.requests.size() - 1);
    // The same packages with the same keys, whatever the collector made of them.
    for (Request const &request : std::as_const(peer.requests))
        QCOMPARE(request.body, peer.requests.first().body);
}

void tst_Delivery::staysAwayAsTold()
{
    addToSpool({"n1"});
    Peer peer(
        [](Request const &) { return Reply{"HTTP/1.1 503 Busy\r\nRetry-After: 3600\r\nContent-Length: 0\r\n\r\n"}; });
    DeliverySender sender(optionsFor(peer));
    auto const before = std::chrono::steady_clock::now();
    QCOMPARE(sender.start(), QString());
    QVERIFY(waitFor([&] { return sender.state().failedAttempts == 1; }));
    QVERIFY(sender.state().nextAttempt >= before + 3600s);

    // Not even a package of high priority changes that.
    sender.send(package("h2"), true);
    QVERIFY(waitFor([&] { return sender.state().unsaved == 0; }));
    QVERIFY(sender.state().nextAttempt >= before + 3600s);
    sender.stop();
    QCOMPARE(peer.requests.size(), 1);
    QCOMPARE(spooled(), Words({"h2", "n1"}));
}

void tst_Delivery::waitsAfterStart()
{
    Peer peer(accept);
    DeliveryOptions options = optionsFor(peer);
    // Drawn by chance, it is not over in the moments that this takes.
    options.backoff.spread = 500h;
    DeliverySender sender(options);
    auto const before = std::chrono::steady_clock::now();
    QCOMPARE(sender.start(), QString());
    sender.send(package("n1"), false);
    QVERIFY(waitFor([&] { return sender.state().nextAttempt.has_value(); }));
    QVERIFY(*sender.state().nextAttempt > before);
    QVERIFY(*sender.state().nextAttempt < std::chrono::steady_clock::now() + 500h);
    sender.stop();
    QCOMPARE(peer.requests.size(), 0);
    QCOMPARE(spooled(), Words({"n1"}));
}

void tst_Delivery::longestWait()
{
    Peer peer(accept);
    DeliveryOptions options = optionsFor(peer);
    // A timer counts milliseconds in an int, which is 24 days: none of the waits that may be drawn is as short.
    options.backoff.spread = 24h * 24'000'000;
    DeliveryByHand delivery(options);
    QCOMPARE(qint64(delivery.wait().count()), 24 * 24 * 3'600'000);
    QVERIFY(delivery.state().nextAttempt <= std::chrono::steady_clock::now() + 24h * 24);
}

void tst_Delivery::successEndsBackoff()
{
    addToSpool({"n1", "n2"});
    bool isAway = true;
    Peer peer([&](Request const &request) {
        // After one success it is away again.
        return std::exchange(isAway, true) ? Reply{answer("503 Busy")} : accept(request);
    });
    DeliveryOptions options = optionsFor(peer);
    options.batchBytes = 100;
    options.backoff = {1h, 100'000h, 0ms};
    DeliveryByHand delivery(options);
    for (int failures = 0; failures < 20; ++failures) {
        delivery.endWait();
        QVERIFY(waitFor([&] { return delivery.state().failedAttempts > failures; }));
    }
    isAway = false;
    delivery.endWait();
    QVERIFY(waitFor([&] { return delivery.state().failedAttempts == 21; }));
    QCOMPARE(delivery.state().sent, 1);
    QVERIFY2(delivery.wait() <= 1h, QByteArray::number(qint64(delivery.wait().count())).constData());
}

void tst_Delivery::wrongAddress()
{
    addToSpool({"n1", "n2"});
    Peer peer([](Request const &) { return Reply{answer("404 Not Found", "no such page\n")}; });
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    QVERIFY(waitFor([&] { return !sender.state().misconfiguration.isEmpty(); }));
    QCOMPARE(sender.state().misconfiguration, QStringLiteral("HTTP 404 no such page"));
    sender.send(package("n3"), false);
    sender.stop();
    QCOMPARE(peer.requests.size(), 1);
    QCOMPARE(sender.state().refused, 0);
    QCOMPARE(spooled(), Words({"n1", "n2", "n3"}));
}

void tst_Delivery::addressThatIsGoneForAWhile()
{
    addToSpool({"n1"});
    int requests = 0;
    Peer peer([&](Request const &request) {
        ++requests;
        return requests == 2 || requests == 3 ? Reply{answer("404 Not Found", "")} : accept(request);
    });
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    QVERIFY(waitFor([&] { return sender.state().sent == 1; }));
    sender.send(package("n2"), false);
    QVERIFY(waitFor([&] { return sender.state().sent == 2; }));
    QCOMPARE(sender.state().failedAttempts, 2);
    QCOMPARE(sender.state().refused, 0);
    QCOMPARE(sender.state().misconfiguration, QString());
    sender.stop();
    QCOMPARE(requests, 4);
}

void tst_Delivery::refusedAlone_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<bool>("isHigh");

    for (char const *status : {"400", "409", "413", "422"}) {
        QTest::addRow("%s, normal", status) << QByteArray(status) << false;
        QTest::addRow("%s, high", status) << QByteArray(status) << true;
    }
}

void tst_Delivery::refusedAlone()
{
    QFETCH(QByteArray, status);
    QFETCH(bool, isHigh);

    addToSpool({isHigh ? "[bad]" : "bad"});
    Peer peer([&](Request const &request) {
        return isBad(request) ? Reply{answer(status + " No", "no\n")} : accept(request);
    });
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    QVERIFY(waitFor([&] { return sender.state().refused == 1; }));
    QCOMPARE(sender.state().pending, 0);
    QCOMPARE(sender.state().sent, 0);
    QCOMPARE(sender.state().failedAttempts, 0);
    QString const reason = QStringLiteral("HTTP %1 no").arg(QString::fromLatin1(status));
    QCOMPARE(sender.state().failure, reason);
    QVERIFY(waitFor([&] { return !notices().isEmpty(); }));
    QCOMPARE(notices(), QStringList({QStringLiteral("a package was refused and is set aside: ") + reason}));

    // It stands in nobody's way.
    sender.send(package("n2"), false);
    QVERIFY(waitFor([&] { return sender.state().sent == 1; }));
    QCOMPARE(sender.state().failure, QString());
    sender.stop();
    QCOMPARE(peer.requests.size(), 2);
    QCOMPARE(spooled(), Words());
}

void tst_Delivery::refusedInABatch()
{
    addToSpool({"n1", "bad2", "n3", "bad4"});
    Peer peer([](Request const &request) { return isBad(request) ? Reply{answer("422 No")} : accept(request); });
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    QVERIFY(waitFor([&] { return sender.state().refused == 2; }));
    QCOMPARE(wordsOf(peer.bodies()), Words({"n1 bad2 n3 bad4", "n1", "bad2", "n3", "bad4"}));
    QCOMPARE(sender.state().sent, 2);
    QCOMPARE(sender.state().pending, 0);
    sender.stop();

    // Nor one by one for ever.
    init();
    addToSpool({"n1", "bad2", "n3", "n4"});
    peer.requests.clear();
    DeliveryOptions options = optionsFor(peer);
    options.batchBytes = 200;
    DeliverySender next(options);
    QCOMPARE(next.start(), QString());
    QVERIFY(waitFor([&] { return next.state().sent == 3; }));
    QCOMPARE(wordsOf(peer.bodies()), Words({"n1 bad2", "n1", "bad2", "n3 n4"}));
}

void tst_Delivery::highAmongRefused()
{
    addToSpool({"n1", "bad2", "n3", "n4", "n5", "n6"});
    DeliverySender *sender = nullptr;
    Peer peer([&](Request const &request) {
        if (!isBad(request))
            return accept(request);
        if (peer.requests.size() == 1) {
            sender->send(package("h7"), true);
            waitFor([&] { return sender->state().unsaved == 0; });
        }
        return Reply{answer("422 No")};
    });
    DeliveryOptions options = optionsFor(peer);
    options.batchBytes = 400;
    DeliverySender theSender(options);
    sender = &theSender;
    QCOMPARE(theSender.start(), QString());
    QVERIFY(waitFor([&] { return theSender.state().sent == 6; }));
    QCOMPARE(wordsOf(peer.bodies()), Words({"n1 bad2 n3 n4", "[h7]", "n1", "bad2", "n3", "n4", "n5 n6"}));
}

void tst_Delivery::tooLarge()
{
    addToSpool({"n1", "n2", "n3", "n4", "n5", "n6", "n7"});
    Peer peer([&](Request const &request) {
        return request.body.size() > 500 ? Reply{answer("413 Too Large")} : accept(request);
    });
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    QVERIFY(waitFor([&] { return sender.state().sent == 7; }));
    QCOMPARE(wordsOf(peer.bodies()),
             Words({"n1 n2 n3 n4 n5 n6 n7", "n1 n2 n3", "n1", "n2", "n3", "n4", "n5", "n6", "n7"}));
    QCOMPARE(sender.state().refused, 0);
    QCOMPARE(sender.state().failedAttempts, 0);
}

void tst_Delivery::goesOnAfterRestart()
{
    {
        Peer peer([](Request const &) { return Reply{answer("503 Busy")}; });
        DeliverySender sender(optionsFor(peer));
        QCOMPARE(sender.start(), QString());
        sender.send(package("n1"), false);
        sender.send(package("h2"), true);
        QVERIFY(waitFor([&] { return sender.state().failedAttempts > 1; }));
    }
    // Another peer: a last request may still be on its way to the first.
    Peer peer(accept);
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    QCOMPARE(sender.state().taken, 0);
    QVERIFY(waitFor([&] { return sender.state().sent == 2; }));
    QCOMPARE(wordsOf(peer.bodies()), Words({"[h2]", "n1"}));
}

void tst_Delivery::emptyPackage()
{
    Peer peer(accept);
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    sender.send({}, true);
    sender.send("", false);
    QCOMPARE(sender.state().taken, 0);
    sender.send(package("n1"), false);
    QVERIFY(waitFor([&] { return sender.state().sent == 1; }));
    QCOMPARE(sender.state().taken, 1);
    QCOMPARE(wordsOf(peer.bodies()), Words({"n1"}));
}

void tst_Delivery::sendWaitsForNothing()
{
    Peer peer(sayNothing);
    StuckSender stuck(optionsFor(peer));
    DeliverySender &sender = stuck.sender;
    Words words = {"n0"};
    for (int i = 1; i <= 1000; ++i) {
        words.append("n" + QByteArray::number(i));
        sender.send(package(words.last()), false);
    }
    QCOMPARE(sender.state().taken, 1001);
    QCOMPARE(sender.state().pending, 1001);
    QCOMPARE(sender.state().unsaved, 1001);

    stuck.release();
    QVERIFY(waitFor([&] { return sender.state().unsaved == 0 && !peer.requests.isEmpty(); }));
    // Nor for the collector, which does not answer.
    sender.send(package("n1001"), false);
    words.append("n1001");
    QVERIFY(waitFor([&] { return sender.state().unsaved == 0; }));
    QCOMPARE(sender.state().pending, 1002);
    QCOMPARE(sender.state().failedAttempts, 0);
    sender.stop();
    QCOMPARE(spooled(), words);
}

void tst_Delivery::queueLimit()
{
    Peer peer(sayNothing);
    StuckSender stuck(optionsFor(peer));
    DeliverySender &sender = stuck.sender;

    auto const large = [](char const *word) { return package(word) + QByteArray(999'900, ' '); };
    for (char const *word : {"n1", "h2", "n3", "h4"})
        sender.send(large(word), *word == 'h');
    QCOMPARE(sender.state().pending, 5);
    // The oldest normal one goes, the oldest where there is none, and what is larger than the limit itself.
    sender.send(large("n5"), false);
    QCOMPARE(sender.state().pending, 5);
    sender.send(large("h6"), true);
    sender.send(large("h7"), true);
    sender.send(large("h8"), true);
    sender.send(QByteArray(4'000'001, ' '), false);
    // Four are the limit to the byte.
    sender.send("0", false);
    QCOMPARE(sender.state().pending, 5);
    QCOMPARE(sender.state().taken, 11);

    stuck.release();
    QVERIFY(waitFor([&] { return sender.state().unsaved == 0; }));
    QCOMPARE(sender.state().losses.quota, 6);
    QCOMPARE(sender.state().losses.total(), 6);
    sender.stop();
    QCOMPARE(spooled(), Words({"h4", "h6", "h7", "h8", "n0"}));
}

void tst_Delivery::droppedAreCountedOnce()
{
    PackageQueue queue;
    for (int i = 0; i < 3; ++i)
        queue.push(QByteArray(1'500'000, 'x'), false);
    std::vector<PackageQueue::Queued> packages;
    QCOMPARE(queue.drain(packages), 1);
    QCOMPARE(packages.size(), size_t(2));
    packages.clear();
    QCOMPARE(queue.drain(packages), 0);
}

void tst_Delivery::severalThreads()
{
    Peer peer(accept);
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    std::vector<std::thread> threads;
    for (char name : {'a', 'b', 'c', 'd'}) {
        threads.emplace_back([&sender, name] {
            for (int i = 100; i < 300; ++i) {
                sender.send(package(name + QByteArray::number(i)), false);
                sender.state();
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QVERIFY(waitFor([&] { return sender.state().sent == 800; }));
    QCOMPARE(sender.state().taken, 800);
    QCOMPARE(sender.state().pending, 0);

    // Each once, and those of one thread in their order.
    Words received = wordsOf(peer.bodies()).join(' ').split(' ');
    std::stable_sort(received.begin(), received.end(),
                     [](QByteArray const &left, QByteArray const &right) { return left.at(0) < right.at(0); });
    Words expected;
    for (char name : {'a', 'b', 'c', 'd'}) {
        for (int i = 100; i < 300; ++i)
            expected.append(name + QByteArray::number(i));
    }
    QCOMPARE(received, expected);
}

/// What state() returns belongs together, whenever it is asked.
void tst_Delivery::stateIsWhole()
{
    addToSpool({"n1"});
    int requests = 0;
    Peer peer([&](Request const &) { return Reply{answer("503 Busy", QByteArray::number(++requests).repeated(20))}; });
    DeliveryOptions options = optionsFor(peer);
    options.backoff = {0ms, 0ms, 0ms};
    DeliverySender sender(options);
    std::atomic<bool> isOver = false;
    std::atomic<int> torn = 0;
    std::thread reader([&] {
        while (!isOver) {
            DeliveryState const state = sender.state();
            QString const failure = QStringLiteral("HTTP 503 ") + QString::number(state.failedAttempts).repeated(20);
            torn += state.failedAttempts > 0 && state.failure != failure;
        }
    });
    bool const hasStarted = sender.start().isEmpty();
    bool const hasFailed = waitFor([&] { return sender.state().failedAttempts >= 100; });
    isOver = true;
    reader.join();
    QVERIFY(hasStarted && hasFailed);
    QCOMPARE(torn.load(), 0);
}

void tst_Delivery::stopGivesUp()
{
    Peer peer(sayNothing);
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    sender.send(package("n1"), false);
    QVERIFY(waitFor([&] { return peer.requests.size() == 1; }));
    sender.stop();
    QCOMPARE(sender.state().sent, 0);
    QCOMPARE(sender.state().pending, 1);
    QCOMPARE(spooled(), Words({"n1"}));
    sender.stop();
}

void tst_Delivery::stopSpools()
{
    Peer peer(sayNothing);
    Words words;
    DeliverySender sender(optionsFor(peer));
    QCOMPARE(sender.start(), QString());
    for (int i = 0; i < 500; ++i) {
        words.append("n" + QByteArray::number(i));
        sender.send(package(words.last()), false);
    }
    sender.stop();
    QCOMPARE(sender.state().taken, 500);
    QCOMPARE(sender.state().pending, 500);
    QCOMPARE(sender.state().unsaved, 0);
    QCOMPARE(spooled(), words);
}

void tst_Delivery::safeIsOnTheDisk()
{
    Peer peer(accept);
    DeliveryOptions options = optionsFor(peer);
    QList<QByteArray> safe;
    QList<QByteArray> missing;
    options.safe = [&](QByteArray const &package) {
        safe.append(package);
        if (!onTheDisk().contains(package))
            missing.append(package);
    };
    DeliverySender sender(options);
    QCOMPARE(sender.start(), QString());
    QList<QByteArray> sent;
    for (int i = 0; i < 20; ++i) {
        sent.append(package("n" + QByteArray::number(i)));
        sender.send(sent.last(), false);
    }
    QVERIFY(waitFor([&] { return sender.state().sent == 20; }));
    sender.stop();
    QCOMPARE(safe, sent);
    QCOMPARE(missing, QList<QByteArray>());
}

/// What the collector has is not sent again after a power-off.
void tst_Delivery::deliveredIsSaved()
{
    addToSpool({"n1", "bad2", "n3"});
    Peer peer([](Request const &request) { return isBad(request) ? Reply{answer("422 No")} : accept(request); });
    DeliveryOptions options = optionsFor(peer);
    options.batchBytes = 100;
    DeliveryByHand delivery(options);
    delivery.endWait();
    QVERIFY(waitFor([&] { return delivery.state().sent == 2; }));
    QCOMPARE(spooled(), Words());
    QCOMPARE(refusedOnTheDisk(), 1);
}

void tst_Delivery::diskFull()
{
    bool isAway = false;
    Peer peer([&](Request const &request) { return isAway ? Reply{answer("503 Busy")} : accept(request); });
    DeliveryOptions options = optionsFor(peer);
    int safe = 0;
    options.safe = [&](QByteArray const &) { ++safe; };
    DeliverySender sender(options);
    QCOMPARE(sender.start(), QString());
    sender.send(package("n1"), false);
    QVERIFY(waitFor([&] { return sender.state().sent == 1; }));
    {
        FullDisk const full;
        sender.send(package("n2"), false);
        QVERIFY(waitFor([&] { return sender.state().sent == 2; }));
        isAway = true;
        sender.send(package("n3"), false);
        QVERIFY(waitFor([&] { return sender.state().failedAttempts > 0; }));
        QCOMPARE(sender.state().pending, 1);
        QCOMPARE(sender.state().unsaved, 1);
        QCOMPARE(notices(), QStringList({QStringLiteral("the spool cannot be written: disk I/O error")}));
    }
    sender.stop();
    QCOMPARE(sender.state().unsaved, 0);
    QCOMPARE(spooled(), Words({"n3"}));
    // What was sent without ever being on the disk was never safe there.
    QCOMPARE(safe, 2);
}

void tst_Delivery::diskFullWhilePackagesCome()
{
    Peer peer(accept);
    DeliveryOptions options = optionsFor(peer);
    options.backoff.spread = 100'000h;
    DeliveryByHand delivery(options);
    QString const full = QStringLiteral("the spool cannot be written: disk I/O error");
    {
        FullDisk const disk;
        auto const large = [](char const *word) { return package(word) + QByteArray(999'700, ' '); };
        for (char const *word : {"n1", "n2", "n3", "n4"})
            delivery.send(large(word), false);
        QCOMPARE(delivery.state().unsaved, 4);
        QCOMPARE(delivery.state().losses.quota, 0);
        delivery.send(large("h5"), true);
        QCOMPARE(delivery.state().unsaved, 4);
        QCOMPARE(delivery.state().losses.quota, 1);
        delivery.lookAfterSpool();
        QCOMPARE(delivery.state().unsaved, 4);
    }
    QCOMPARE(notices(), QStringList({full}));

    // A disk that has just failed is not asked again for each package.
    delivery.send(package("n6"), false);
    QCOMPARE(delivery.state().unsaved, 4);
    QCOMPARE(spooled(), Words());
    delivery.lookAfterSpool();
    QCOMPARE(delivery.state().unsaved, 0);
    QCOMPARE(spooled(), Words({"h5", "n3", "n4", "n6"}));
    QCOMPARE(notices(), QStringList({full, QStringLiteral("the spool can be written again")}));
}

/// Where there is no memory to read the spool, the next look after it tries again.
void tst_Delivery::spoolThatCannotBeRead()
{
    addToSpool({"n1"});
    Peer peer(accept);
    DeliveryOptions options = optionsFor(peer);
    options.backoff.spread = 100'000h;
    DeliveryByHand delivery(options);
    qint64 const before = sqlite3_hard_heap_limit64(1);
    delivery.endWait();
    sqlite3_hard_heap_limit64(before);
    QCOMPARE(delivery.state().pending, 1);
    delivery.lookAfterSpool();
    QVERIFY(waitFor([&] { return delivery.state().sent == 1; }));
    QCOMPARE(wordsOf(peer.bodies()), Words({"n1"}));
}

void tst_Delivery::startFails()
{
    Peer peer(accept);
    DeliverySender first(optionsFor(peer));
    QCOMPARE(first.start(), QString());
    {
        DeliverySender second(optionsFor(peer));
        QCOMPARE(second.start(), QStringLiteral("another host uses it"));
    }
    first.send(package("n1"), false);
    QVERIFY(waitFor([&] { return first.state().sent == 1; }));
}

namespace {

enum class Mishap { Refused, Damaged, DiskFull };

} // namespace

Q_DECLARE_METATYPE(Mishap)

void tst_Delivery::unsetCallbacks_data()
{
    QTest::addColumn<Mishap>("mishap");
    QTest::addColumn<bool>("hasSafe");
    QTest::addColumn<QStringList>("lines");

    QString const refused = QStringLiteral("a package was refused and is set aside: HTTP 422 ");
    QString const damaged = QStringLiteral("the spool was damaged: 0 packages taken over, 0 lost; what it was is ");
    QString const full = QStringLiteral("the spool cannot be written: disk I/O error");
    for (bool hasSafe : {false, true}) {
        for (bool hasNotice : {false, true}) {
            auto const row = [&](char const *name, Mishap mishap, QStringList const &lines) {
                QTest::addRow("%s, %s, %s", name, hasSafe ? "safe" : "no safe", hasNotice ? "notice" : "no notice")
                    << mishap << hasSafe << (hasNotice ? lines : QStringList());
            };
            row("refused", Mishap::Refused, {refused});
            row("damaged", Mishap::Damaged, {damaged, refused});
            row("disk full", Mishap::DiskFull, {full, refused});
        }
    }
}

void tst_Delivery::unsetCallbacks()
{
    QFETCH(Mishap, mishap);
    QFETCH(bool, hasSafe);
    QFETCH(QStringList, lines);

    QString const path = folder() + QLatin1String("/spool.db");
    if (mishap == Mishap::Damaged) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(20'000, 'x'));
    }
    Peer peer([](Request const &request) { return isBad(request) ? Reply{answer("422 No")} : accept(request); });
    DeliveryOptions options = optionsFor(peer);
    int safe = 0;
    if (hasSafe)
        options.safe = [&](QByteArray const &) { ++safe; };
    if (lines.isEmpty())
        options.notice = nullptr;
    {
        DeliverySender sender(options);
        QCOMPARE(sender.start(), QString());
        std::optional<FullDisk> disk;
        if (mishap == Mishap::DiskFull)
            disk.emplace();
        sender.send(package("bad1"), false);
        QVERIFY(waitFor([&] { return sender.state().refused == 1; }));
        sender.send(package("n2"), false);
        QVERIFY(waitFor([&] { return sender.state().sent == 1; }));
        disk.reset();
        sender.stop();
        QCOMPARE(notices().replaceInStrings(path + QLatin1String(".damaged"), QString()), lines);
        // From a full disk the second one is delivered without having been on it.
        QCOMPARE(safe, !hasSafe ? 0 : mishap == Mishap::DiskFull ? 1 : 2);
    }
    // The next start finds the package where it was set aside.
    DeliverySender sender(options);
    QCOMPARE(sender.start(), QString());
    sender.send(package("n3"), false);
    QVERIFY(waitFor([&] { return sender.state().sent == 1; }));
    QCOMPARE(sender.state().refused, 1);
    QCOMPARE(wordsOf(peer.bodies()), Words({"bad1", "n2", "n3"}));
}

/// Whatever the host makes of the line, the package is not sent again.
void tst_Delivery::toldOnceItIsSaved()
{
    addToSpool({"bad1"});
    Peer peer([](Request const &) { return Reply{answer("422 No")}; });
    DeliveryOptions options = optionsFor(peer);
    qint64 refused = 0;
    qint64 refusedInState = 0;
    std::function<DeliveryState()> state;
    options.notice = [&](QString const &) {
        refused = refusedOnTheDisk();
        refusedInState = state().refused;
    };
    DeliveryByHand delivery(options);
    state = [&] { return delivery.state(); };
    delivery.endWait();
    QVERIFY(waitFor([&] { return refused > 0; }));
    QCOMPARE(refused, 1);
    QCOMPARE(refusedInState, 1);
}

void tst_Delivery::callbacksMayUseTheSender()
{
    Peer peer([](Request const &request) { return isBad(request) ? Reply{answer("422 No")} : accept(request); });
    DeliveryOptions options = optionsFor(peer);
    options.batchBytes = 100;
    DeliverySender *sender = nullptr;
    std::atomic<qint64> taken = 0;
    auto const report = [&](char const *word) {
        sender->send(package(word), false);
        taken = sender->state().taken;
    };
    options.safe = [&](QByteArray const &safe) {
        if (safe == package("bad1"))
            report("n2");
    };
    options.notice = [&](QString const &) { report("n3"); };
    DeliverySender theSender(options);
    sender = &theSender;
    QCOMPARE(theSender.start(), QString());
    theSender.send(package("bad1"), false);
    QVERIFY(waitFor([&] { return theSender.state().sent == 2; }));
    QCOMPARE(taken.load(), 3);
    QCOMPARE(wordsOf(peer.bodies()), Words({"bad1", "n2", "n3"}));
}

QTEST_GUILESS_MAIN(tst_Delivery)
#include "tst_delivery.moc"

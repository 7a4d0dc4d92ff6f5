#include <delivery/collectorlink_p.h>

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QLocale>
#include <QtCore/QTimeZone>
#include <QtNetwork/QNetworkReply>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QSslSocket>

#include <zlib.h>

#include <algorithm>

namespace stbanalytics::delivery {

using namespace std::chrono_literals;

/// No collector is believed that wants to be left alone for longer.
static constexpr std::chrono::seconds longestRetryAfter = 24h;

static QByteArray compressed(QByteArray const &bytes)
{
    constexpr int gzipForm = 16;
    z_stream stream{};
    deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, MAX_WBITS + gzipForm, MAX_MEM_LEVEL, Z_DEFAULT_STRATEGY);
    QByteArray result(static_cast<qsizetype>(deflateBound(&stream, static_cast<uLong>(bytes.size()))),
                      Qt::Uninitialized);
    // zlib does not write to what it reads, though its type does not say so.
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(bytes.constData()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef *>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    deflate(&stream, Z_FINISH);
    result.resize(static_cast<qsizetype>(stream.total_out));
    deflateEnd(&stream);
    return result;
}

/// A date in HTTP's form, such as `Sat, 21 Nov 2026 05:16:25 GMT`.
static QDateTime httpDate(QByteArray const &value)
{
    QString const text = QString::fromLatin1(value);
    QDate const date = QLocale::c().toDate(text.left(16), QStringLiteral("ddd, dd MMM yyyy"));
    QTime const time = QTime::fromString(text.mid(17), QStringLiteral("hh:mm:ss 'GMT'"));
    return {date, time, QTimeZone::utc()};
}

/// What Retry-After says, which is a number of seconds or a date.
static std::chrono::milliseconds retryAfter(QNetworkReply const &reply)
{
    QByteArray const value = reply.rawHeader("Retry-After").trimmed();
    bool isNumber = false;
    qint64 seconds = value.toLongLong(&isNumber);
    if (!isNumber) {
        // By the collector's own clock: the box's may not have been set.
        QDateTime const date = httpDate(value);
        QDateTime const now = httpDate(reply.rawHeader("Date"));
        seconds = date.isValid() && now.isValid() ? now.secsTo(date) : 0;
    }
    return std::chrono::seconds(std::clamp<qint64>(seconds, 0, longestRetryAfter.count()));
}

QString problemOf(LinkOptions const &options)
{
    QUrl const &url = options.url;
    bool const isSecure = url.scheme() == QLatin1String("https");
    if (!url.isValid() || url.host().isEmpty() || url.port() == 0
        || (!isSecure && url.scheme() != QLatin1String("http")))
        return QStringLiteral("expected http:// or https:// and a host");
    QFile file(options.caFile);
    if (!options.caFile.isEmpty() && !file.open(QIODevice::ReadOnly))
        return options.caFile + QLatin1String(": ") + file.errorString();
    if (isSecure && !QSslSocket::supportsSsl())
        return QStringLiteral("this Qt has no TLS");
    if (!options.caFile.isEmpty() && QSslCertificate::fromDevice(&file).isEmpty())
        return options.caFile + QLatin1String(": no certificate in PEM");
    return {};
}

CollectorLink::CollectorLink(LinkOptions const &options)
    : m_options(options)
    , m_request(options.url)
{
    m_request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    if (options.isCompressed)
        m_request.setRawHeader("Content-Encoding", "gzip");
    m_request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    m_request.setTransferTimeout(static_cast<int>(options.timeout.count()));
    if (!options.caFile.isEmpty()) {
        QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
        configuration.addCaCertificates(options.caFile);
        m_request.setSslConfiguration(configuration);
    }
}

void CollectorLink::post(QByteArray const &json, std::function<void(Answer const &)> answered)
{
    m_sslErrors.clear();
    QNetworkReply *const reply = m_network.post(m_request, m_options.isCompressed ? compressed(json) : json);
    QObject::connect(reply, &QNetworkReply::sslErrors, &m_network,
                     [this](QList<QSslError> const &errors) { m_sslErrors += errors; });
    QObject::connect(reply, &QNetworkReply::finished, &m_network, [this, reply, answered = std::move(answered)] {
        reply->deleteLater();
        answered(answerOf(*reply));
    });
}

Answer CollectorLink::answerOf(QNetworkReply &reply) const
{
    Answer answer;
    int const status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    bool const isSuccess = status >= 200 && status < 300;
    // An answer that was cut off is none. Qt 6.4 does not always say so.
    bool const isCutOff = reply.bytesAvailable() < reply.header(QNetworkRequest::ContentLengthHeader).toLongLong();
    bool const hasFailed = reply.error() != QNetworkReply::NoError;
    if (status == 0 || (isSuccess && (hasFailed || isCutOff))) {
        answer.reason = hasFailed ? reply.errorString() : QStringLiteral("Connection closed");
        // A box whose clock stands at 1970 takes every certificate for one from the future, until its clock is set.
        auto const isPermanent
            = [](QSslError const &error) { return error.error() != QSslError::CertificateNotYetValid; };
        auto const permanent = std::find_if(m_sslErrors.begin(), m_sslErrors.end(), isPermanent);
        if (permanent != m_sslErrors.end()) {
            answer.kind = Answer::Misconfigured;
            answer.reason = permanent->errorString();
        }
        return answer;
    }
    // A network that wants a signature first answers everything itself, with a redirection or with a page.
    bool const isPage
        = reply.header(QNetworkRequest::ContentTypeHeader).toString().startsWith(QLatin1String("text/html"));
    if (isSuccess && !isPage) {
        answer.kind = Answer::Delivered;
        return answer;
    }

    constexpr int longestReason = 200;
    answer.reason
        = QStringLiteral("HTTP %1 %2").arg(status).arg(QString::fromUtf8(reply.read(longestReason)).simplified());
    answer.retryAfter = retryAfter(reply);
    // Who names a time to come back is going to take it then.
    if (answer.retryAfter > std::chrono::milliseconds::zero())
        return answer;
    switch (status) {
    case 401: // Unauthorized
    case 403: // Forbidden
    case 404: // Not Found
    case 405: // Method Not Allowed
    case 407: // Proxy Authentication Required
    case 410: // Gone
        answer.kind = Answer::NotThere;
        break;
    case 408: // Request Timeout
    case 425: // Too Early
    case 429: // Too Many Requests
        break;
    case 413: // Content Too Large
        answer.kind = Answer::TooLarge;
        break;
    default:
        if (status >= 400 && status < 500)
            answer.kind = Answer::Refused;
    }
    return answer;
}

} // namespace stbanalytics::delivery

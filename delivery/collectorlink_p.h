#pragma once

#include <delivery/deliveryoptions.h>

#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QSslError>

#include <chrono>
#include <functional>

QT_BEGIN_NAMESPACE
class QNetworkReply;
QT_END_NAMESPACE

namespace stbanalytics::delivery {

/// What became of a request.
struct Answer
{
    enum Kind {
        Delivered, ///< The collector has it.
        Refused, ///< It will never take it.
        TooLarge, ///< It takes smaller ones.
        NotThere, ///< What answers takes no packages from this box at all.
        Unavailable, ///< It is away, or busy: to be tried again.
        Misconfigured, ///< What is at the other end is not to be trusted.
    };

    Kind kind = Unavailable;
    QString reason; ///< Why it was not delivered, in one line.
    std::chrono::milliseconds retryAfter{}; ///< How long the collector wants to be left alone.
};

/// Posts JSON to the collector, one request after the other. Lives on the thread that makes it, which has an event
/// loop.
class CollectorLink
{
public:
    explicit CollectorLink(LinkOptions const &options);

    /// Sends a request. `answered`, which has to be set, is called once, later, by the event loop; it is not called
    /// when the link goes away before.
    void post(QByteArray const &json, std::function<void(Answer const &)> answered);

private:
    Answer answerOf(QNetworkReply &reply) const;

    LinkOptions m_options;
    QNetworkRequest m_request;
    QList<QSslError> m_sslErrors;
    QNetworkAccessManager m_network;
};

} // namespace stbanalytics::delivery

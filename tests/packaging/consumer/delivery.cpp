#include <delivery/deliverysender.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QTemporaryDir>

#include <cstdio>

/// A host's package waits in the spool while nobody listens: prints how many do.
int main(int argc, char **argv)
{
    QCoreApplication const application(argc, argv);
    QTemporaryDir const folder;
    stbanalytics::delivery::DeliveryOptions options;
    options.link.url = QUrl(QStringLiteral("http://127.0.0.1:9/packages"));
    options.folder = folder.path();

    stbanalytics::delivery::DeliverySender sender(options);
    QString const problem = sender.start();
    if (!problem.isEmpty()) {
        std::fprintf(stderr, "%s\n", qPrintable(problem));
        return 1;
    }
    sender.send(R"({"events":[{}]})", false);
    sender.stop();
    std::printf("%lld\n", static_cast<long long>(sender.state().pending));
    return sender.state().pending == 1 ? 0 : 1;
}

#pragma once

#include <analytics/ipackagesender.h>

#include <QtCore/QIODevice>

namespace stbhost {

/// Writes each package as one line. A package goes out whole and at once; after a failure nothing more does.
class LineSender : public analytics::IPackageSender
{
public:
    /// The device is to be open, and unbuffered where it can be.
    explicit LineSender(QIODevice &device);

    void send(QByteArray const &package, bool highPriority) override;

    /// What went wrong; empty as long as nothing has.
    QString error() const;

private:
    QIODevice &m_device;
    QString m_error;
};

} // namespace stbhost

#include <stbhost/sender.h>

namespace stbhost {

LineSender::LineSender(QIODevice &device)
    : m_device(device)
{
}

void LineSender::send(QByteArray const &package, bool)
{
    QByteArray const line = package + '\n';
    if (m_error.isEmpty() && m_device.write(line) != line.size())
        m_error = m_device.errorString();
}

QString LineSender::error() const
{
    return m_error;
}

} // namespace stbhost

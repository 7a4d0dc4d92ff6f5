#include <stbhost/console.h>

#include <sys/ioctl.h>
#include <unistd.h>

namespace stbhost {

static constexpr char const *clearLine = "\r\x1b[K";

static int columns(std::FILE *stream)
{
    winsize size{};
    return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

Console::Console(std::FILE *stream)
    : m_stream(stream)
    , m_isTerminal(isatty(fileno(stream)) != 0)
{
    open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

Console::~Console()
{
    setStatus({});
}

bool Console::isTerminal() const
{
    return m_isTerminal;
}

void Console::line(QString const &text)
{
    QByteArray const bytes = text.toUtf8() + '\n';
    writeData(bytes.constData(), bytes.size());
}

void Console::setStatus(QString const &text)
{
    QMutexLocker const locker(&m_mutex);
    QByteArray const status = text.left(columns(m_stream) - 1).toUtf8();
    if (!m_isTerminal || status == m_status)
        return;
    m_status = status;
    put(clearLine + m_status);
}

void Console::put(QByteArray const &text)
{
    std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), m_stream);
}

qint64 Console::readData(char *, qint64)
{
    return -1;
}

qint64 Console::writeData(char const *data, qint64 size)
{
    QMutexLocker const locker(&m_mutex);
    QByteArray const text(data, static_cast<qsizetype>(size));
    put(m_status.isEmpty() ? text : clearLine + text + m_status);
    return size;
}

} // namespace stbhost

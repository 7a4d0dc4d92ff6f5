#include <stbhost/stopsignal.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <limits>
#include <utility>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace stbhost {

/// How often to ask whether to go on waiting for input, in milliseconds.
static constexpr int askInterval = 100;

StopSignal::StopSignal()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    m_descriptor = signalfd(-1, &signals, SFD_CLOEXEC);
}

StopSignal::~StopSignal()
{
    close(m_descriptor);
}

bool StopSignal::arrivesWithin(std::chrono::milliseconds time) const
{
    using Milliseconds = std::chrono::milliseconds::rep;
    pollfd signal{m_descriptor, POLLIN, 0};
    if (poll(&signal, 1, static_cast<int>(std::clamp<Milliseconds>(time.count(), 0, std::numeric_limits<int>::max())))
        <= 0)
        return false;
    signalfd_siginfo info{};
    return read(m_descriptor, &info, sizeof info) == sizeof info;
}

int StopSignal::descriptor() const
{
    return m_descriptor;
}

StoppableInput::StoppableInput(StopSignal const &stop, std::function<bool()> goesOn)
    : m_stop(stop)
    , m_goesOn(std::move(goesOn))
{
}

bool StoppableInput::isSequential() const
{
    return true;
}

qint64 StoppableInput::readData(char *data, qint64 size)
{
    if (m_read.isEmpty() && !readMore())
        return -1;
    return take(data, size);
}

qint64 StoppableInput::readLineData(char *data, qint64 size)
{
    qsizetype end = m_read.indexOf('\n');
    while (end < 0 && m_read.size() < size) {
        qsizetype const begin = m_read.size();
        if (!readMore())
            break;
        end = m_read.indexOf('\n', begin);
    }
    if (m_read.isEmpty())
        return -1;
    return take(data, end < 0 ? size : std::min<qint64>(size, end + 1));
}

/// Returns whether there was more.
bool StoppableInput::readMore()
{
    pollfd ready[] = {{STDIN_FILENO, POLLIN, 0}, {m_stop.descriptor(), POLLIN, 0}};
    do {
        // It takes the signal, if one is there.
        if (!m_goesOn() || poll(ready, 2, askInterval) < 0)
            return false;
    } while (ready[0].revents == 0);
    std::array<char, 16384> bytes;
    ssize_t const length = ::read(STDIN_FILENO, bytes.data(), bytes.size());
    if (length > 0)
        m_read.append(bytes.data(), length);
    return length > 0;
}

qint64 StoppableInput::take(char *data, qint64 size)
{
    auto const length = static_cast<qsizetype>(std::min<qint64>(size, m_read.size()));
    std::copy_n(m_read.cbegin(), length, data);
    m_read.remove(0, length);
    return length;
}

qint64 StoppableInput::writeData(char const *, qint64)
{
    return -1;
}

} // namespace stbhost

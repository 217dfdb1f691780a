#include "link/posix_serial.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace quelvari::link {

LinkResult StatusFromErrno(int error, const std::string& what) {
    LinkStatus status = LinkStatus::kIo;
    switch (error) {
        case 0:
            return {};
        case ENOENT:
        case ENODEV:
        case ENXIO:
            status = LinkStatus::kNoDevice;
            break;
        case EACCES:
        case EPERM:
            status = LinkStatus::kNoAccess;
            break;
        case EBUSY:
            status = LinkStatus::kBusy;
            break;
        case ETIMEDOUT:
        case EAGAIN:
            status = LinkStatus::kTimeout;
            break;
        case ENOTTY:
        case EINVAL:
            status = LinkStatus::kUnsupported;
            break;
        default:
            break;
    }
    return {status, what + ": " + std::strerror(error)};
}

namespace {

// A wait for input returns at least this often, so the link can look at its
// cancel token.
constexpr std::uint32_t kWaitSliceMs = CancelToken::kSliceMs;

speed_t SpeedFor(std::uint16_t baudIndex) {
    switch (SerialBaudRate(baudIndex)) {
        case 9600:
            return B9600;
        case 19200:
            return B19200;
        case 38400:
            return B38400;
        default:
            return B57600;
    }
}

}  // namespace

PosixSerialPort::PosixSerialPort(std::string device, std::uint16_t baudIndex, bool slow)
    : device_(std::move(device)),
      baudIndex_(baudIndex),
      timeouts_(SerialTimeoutsFor(baudIndex, slow)) {}

PosixSerialPort::~PosixSerialPort() {
    close();
}

LinkResult PosixSerialPort::open() {
    close();
    const int fd = ::open(device_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return StatusFromErrno(errno, device_);
    // No sharing: a second program gets EBUSY.
    if (::ioctl(fd, TIOCEXCL) != 0 && errno != ENOTTY) {
        const int e = errno;
        ::close(fd);
        return StatusFromErrno(e, device_);
    }
    // Raw 8N1 at the chosen rate. A driver that refuses the state still gets
    // the greeting: a refusal here does not fail the open.
    termios tio{};
    if (::tcgetattr(fd, &tio) == 0) {
        ::cfmakeraw(&tio);
        tio.c_cflag |= CLOCAL | CREAD;
        tio.c_cflag &= ~static_cast<tcflag_t>(PARENB | CSTOPB | CSIZE | CRTSCTS);
        tio.c_cflag |= CS8;
        tio.c_cc[VMIN] = 0;
        tio.c_cc[VTIME] = 0;
        ::cfsetispeed(&tio, SpeedFor(baudIndex_));
        ::cfsetospeed(&tio, SpeedFor(baudIndex_));
        ::tcsetattr(fd, TCSANOW, &tio);
    }
    fd_ = fd;
    return {};
}

void PosixSerialPort::close() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

std::size_t PosixSerialPort::bytesWaiting() {
    if (fd_ < 0)
        return 0;
    int n = 0;
    if (::ioctl(fd_, FIONREAD, &n) != 0 || n < 0)
        return 0;
    return static_cast<std::size_t>(n);
}

std::size_t PosixSerialPort::doPurge(std::uint8_t* data, std::size_t n) {
    if (fd_ < 0)
        return 0;
    // One read of what the driver reports, as the link expects; tcflush would
    // also drop bytes that arrive while we look.
    std::uint8_t scratch[2500];
    std::size_t waiting = bytesWaiting(), dropped = 0;
    while (waiting > 0) {
        const ssize_t got = ::read(fd_, scratch, std::min(waiting, sizeof scratch));
        if (got <= 0)
            break;
        const auto g = static_cast<std::size_t>(got);
        if (dropped < n)
            std::copy_n(scratch, std::min(g, n - dropped), data + dropped);
        dropped += g;
        waiting -= std::min(waiting, g);
    }
    return dropped;
}

LinkStatus PosixSerialPort::drain() {
    if (fd_ < 0)
        return LinkStatus::kInvalid;
    while (::tcdrain(fd_) != 0) {
        if (errno != EINTR)
            return StatusFromErrno(errno, device_).status;
    }
    return LinkStatus::kOk;
}

LinkStatus PosixSerialPort::setModemLines(bool dtr, bool rts) {
    if (fd_ < 0)
        return LinkStatus::kInvalid;
    int set = 0, clear = 0;
    (dtr ? set : clear) |= TIOCM_DTR;
    (rts ? set : clear) |= TIOCM_RTS;
    if ((set && ::ioctl(fd_, TIOCMBIS, &set) != 0) ||
        (clear && ::ioctl(fd_, TIOCMBIC, &clear) != 0))
        return StatusFromErrno(errno, device_).status;
    return LinkStatus::kOk;
}

bool PosixSerialPort::pollFor(short events, int timeoutMs) {
    pollfd p{fd_, events, 0};
    for (;;) {
        const int r = ::poll(&p, 1, timeoutMs);
        if (r < 0 && errno == EINTR)
            continue;
        // The line hung up (the adapter was pulled, the terminal's far end
        // closed): nothing will come any more.
        if (r > 0 && (p.revents & (POLLHUP | POLLERR | POLLNVAL)) && !(p.revents & POLLIN))
            setFault(StatusFromErrno((p.revents & POLLNVAL) ? EBADF : EIO, device_));
        return r > 0 && (p.revents & events);
    }
}

bool PosixSerialPort::waitReadable(Clock&, std::uint32_t maxMs) {
    if (fd_ < 0 || !fault().ok())
        return false;
    if (bytesWaiting() > 0)
        return true;
    return pollFor(POLLIN, static_cast<int>(std::min<std::uint32_t>(maxMs, kWaitSliceMs)));
}

LinkStatus PosixSerialPort::doRead(std::uint8_t* data, std::size_t n, std::size_t& got,
                                   int timeoutMs) {
    if (fd_ < 0)
        return LinkStatus::kInvalid;
    // The port's read time-out: a constant and a share per byte.
    const int total =
        timeoutMs + static_cast<int>(timeouts_.readConstant + timeouts_.readMultiplier * n);
    if (bytesWaiting() == 0 && !pollFor(POLLIN, total))
        return LinkStatus::kTimeout;
    const ssize_t r = ::read(fd_, data, n);
    if (r < 0) {
        if (errno == EAGAIN || errno == EINTR)
            return LinkStatus::kTimeout;
        const LinkResult failed = StatusFromErrno(errno, device_);
        setFault(failed);
        return failed.status;
    }
    got = static_cast<std::size_t>(r);
    return LinkStatus::kOk;
}

LinkStatus PosixSerialPort::doWrite(const std::uint8_t* data, std::size_t n, std::size_t& written) {
    if (fd_ < 0)
        return LinkStatus::kInvalid;
    const int total = static_cast<int>(timeouts_.writeConstant + timeouts_.writeMultiplier * n);
    while (written < n) {
        const ssize_t r = ::write(fd_, data + written, n - written);
        if (r > 0) {
            written += static_cast<std::size_t>(r);
            continue;
        }
        if (r < 0 && errno != EAGAIN && errno != EINTR) {
            const LinkResult failed = StatusFromErrno(errno, device_);
            setFault(failed);
            return failed.status;
        }
        if (!pollFor(POLLOUT, total))
            return LinkStatus::kTimeout;
    }
    return LinkStatus::kOk;
}

}  // namespace quelvari::link

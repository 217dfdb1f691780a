// The serial port of the system (termios): raw 8N1 at 9600, 19200, 38400 or
// 57600 baud, opened exclusively.
#pragma once

#include <string>

#include "link/serial_link.h"
#include "link/transport.h"

namespace quelvari::link {

// The system's error number as a link status, with its text.
LinkResult StatusFromErrno(int error, const std::string& what);

class PosixSerialPort : public Transport {
  public:
    PosixSerialPort(std::string device, std::uint16_t baudIndex, bool slow);
    ~PosixSerialPort() override;

    LinkResult open() override;
    void close() override;
    bool isOpen() const override { return fd_ >= 0; }
    std::size_t bytesWaiting() override;
    LinkStatus drain() override;
    LinkStatus setModemLines(bool dtr, bool rts) override;
    bool waitReadable(Clock& clock, std::uint32_t maxMs) override;

    const SerialTimeouts& timeouts() const { return timeouts_; }

  protected:
    std::size_t doPurge(std::uint8_t* data, std::size_t n) override;
    LinkStatus doRead(std::uint8_t* data, std::size_t n, std::size_t& got, int timeoutMs) override;
    LinkStatus doWrite(const std::uint8_t* data, std::size_t n, std::size_t& written) override;

  private:
    bool pollFor(short events, int timeoutMs);

    std::string device_;
    std::uint16_t baudIndex_;
    SerialTimeouts timeouts_;
    int fd_ = -1;
};

}  // namespace quelvari::link

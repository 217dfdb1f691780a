// A simulated instrument: the instrument's side of every command of the link,
// so the editor can be tried and tested without hardware. What it receives is
// stored as files in a directory that stands for its memory card:
//
//   P<nnn>.HDR        the 1824-byte header block of procedure nnn ("pPH")
//   P<nnn>.PAD        the procedure's records, 800 bytes each ("pPD", "pPW")
//   P<nnn>.IR<k>      interrupt procedure k ("pQD", "pQW")
//   P<nnn>_<i>.BMP    picture i ("pBD", "pBW")
//
// A file appears when its closing request ("pPW", "pQW", "pBW") arrives.
//
// It runs over the serial framing (SimSerialPeer: in-process as a Transport, or
// on a pseudo-terminal in quelvari-instrument) and as USB devices
// (SimUsbBackend) for the in-process "simulated instrument" link.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "link/frame.h"
#include "link/link.h"
#include "link/memory.h"
#include "link/transport.h"
#include "link/usb_link.h"

namespace quelvari::link {

struct SimFaults {
    double corruptFraction = 0;    // answers sent with a wrong check byte
    double dropFraction = 0;       // received frames ignored (no ACK, no answer)
    int nakStorm = 0;              // the next n received frames are answered NAK
    bool answerQuestion = false;   // every answer is "?"
    int busyPolls = 0;             // "p?" polls answered busy before done
    bool refuseHeader = false;     // "pPH" answered 0
    bool refuseSelection = false;  // "Z" answered 0
    int goneAfter = 0;             // USB: the device goes away after n transfers out
    std::uint32_t seed = 1;
};

struct SimSettings {
    InstrumentEntry identity;  // what "V" announces (present is ignored)
    InstrumentMemory memory;   // what "pI" answers
    std::string cardDir;       // empty: nothing is written
    SimFaults faults;
};
// A 6410 named "PV-SIM 6410" with 1 GB and a free place for procedure 1.
SimSettings DefaultSimSettings(std::uint16_t model = 0x6410);

class SimulatedInstrument {
  public:
    explicit SimulatedInstrument(SimSettings settings);

    // One request's payload; the answer's data, or nothing when the command
    // has no answer (greeting, data blocks).
    std::optional<std::vector<std::uint8_t>> handle(const std::uint8_t* data, std::size_t n);

    SimSettings& settings() { return settings_; }
    bool selected() const { return selected_; }
    // Requests handled so far, by their first three bytes (or fewer).
    const std::map<std::string, int>& counts() const { return counts_; }
    // Where the last file closed was written ("" when none).
    const std::string& lastFile() const { return lastFile_; }
    std::mt19937& random() { return random_; }

  private:
    struct OpenFile {
        std::vector<std::uint8_t> data;
    };
    std::vector<std::uint8_t> finish(const std::string& key, const std::string& name, int& pending);
    std::vector<std::uint8_t> poll(int& pending);
    void store(const std::string& key, std::size_t offset, const std::uint8_t* data, std::size_t n);

    SimSettings settings_;
    bool selected_ = false;
    std::map<std::string, OpenFile> files_;
    std::map<std::string, int> counts_;
    int pendingP_ = 0, pendingQ_ = 0, pendingB_ = 0;
    std::string lastFile_;
    std::mt19937 random_;
};

// The instrument's end of the serial framing: bytes in, bytes out.
class SimSerialPeer {
  public:
    explicit SimSerialPeer(SimulatedInstrument& instrument) : instrument_(instrument) {}
    // Feeds received bytes; returns what the instrument sends back.
    std::vector<std::uint8_t> feed(const std::uint8_t* data, std::size_t n);
    // Inside a frame (its DLE came, its DLE ETX not yet).
    bool inFrame() const { return inFrame_; }

  private:
    std::vector<std::uint8_t> frameEnded(bool good);
    bool chance(double fraction);

    SimulatedInstrument& instrument_;
    FrameDecoder decoder_{kLinkBufferSize};
    bool inFrame_ = false;
};

// The simulated instrument as a serial transport, in-process.
class SimSerialTransport : public Transport {
  public:
    explicit SimSerialTransport(SimulatedInstrument& instrument) : peer_(instrument) {}
    LinkResult open() override {
        open_ = true;
        return {};
    }
    void close() override { open_ = false; }
    bool isOpen() const override { return open_; }
    std::size_t bytesWaiting() override { return pending_.size(); }
    LinkStatus setModemLines(bool, bool) override { return LinkStatus::kOk; }

  protected:
    std::size_t doPurge(std::uint8_t* data, std::size_t n) override {
        const std::size_t dropped = pending_.size();
        std::copy_n(pending_.begin(), std::min(n, dropped), data);
        pending_.clear();
        return dropped;
    }
    LinkStatus doRead(std::uint8_t* data, std::size_t n, std::size_t& got, int) override;
    LinkStatus doWrite(const std::uint8_t* data, std::size_t n, std::size_t& written) override;

  private:
    SimSerialPeer peer_;
    std::deque<std::uint8_t> pending_;
    bool open_ = false;
};

// Simulated instruments as USB devices. A bulk transfer of 64k + 1 bytes is
// taken as a padded one of 64k bytes (the host never ends a transfer on a full
// packet).
class SimUsbBackend : public UsbBackend {
  public:
    explicit SimUsbBackend(std::vector<std::shared_ptr<SimulatedInstrument>> instruments)
        : instruments_(std::move(instruments)) {}

    int findDevices(const std::vector<UsbId>& ids, std::vector<int>& devices,
                    std::vector<UsbSeen>& all) override;
    int open(int device, bool mayDetach, std::string& reason) override;
    void close(int handle) override;
    int controlOut(int handle, std::uint8_t requestType, std::uint8_t request, std::uint16_t value,
                   std::uint16_t index, const std::uint8_t* data, std::uint16_t length,
                   unsigned timeoutMs) override;
    int bulk(int handle, std::uint8_t endpoint, std::uint8_t* data, int length, int& transferred,
             unsigned timeoutMs) override;
    int stringDescriptor(int handle, std::uint8_t index, std::uint16_t language, std::uint8_t* data,
                         int capacity) override;

    SimulatedInstrument& instrument(std::size_t i) { return *instruments_.at(i); }

  private:
    void answer(std::size_t device, const std::uint8_t* data, std::size_t n);

    std::vector<std::shared_ptr<SimulatedInstrument>> instruments_;
    // A device that went away (SimFaults::goneAfter) answers nothing any more.
    bool gone(std::size_t device);

    std::map<std::size_t, std::vector<std::uint8_t>> answers_;
    std::vector<bool> open_;
    std::map<std::size_t, int> transfersOut_;
};

// One or two simulated USB instruments behind `link` (the second of
// `secondModel`, writing into the subdirectory "2" of the card directory).
// Returns the instruments for inspection.
std::vector<std::shared_ptr<SimulatedInstrument>> AttachSimulatedUsb(Link& link,
                                                                     const SimSettings& settings,
                                                                     int count = 1,
                                                                     std::uint16_t secondModel = 0);

}  // namespace quelvari::link

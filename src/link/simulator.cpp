#include "link/simulator.h"

#include <libusb.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "link/instrument.h"

namespace quelvari::link {

SimSettings DefaultSimSettings(std::uint16_t model) {
    SimSettings s;
    InstrumentEntry& id = s.identity;
    id.model = model;
    std::snprintf(id.name, sizeof id.name, "PV-SIM %04X", model);
    id.word2 = 0x0102;
    id.word3 = 0x0304;
    id.word4 = 0x0506;
    id.long1 = 0x0708090A;
    id.byte1to8 = {1, 2, 3, 4, 5, 6, 7, 8};
    id.byte9 = 9;
    id.word5 = 0x0B0C;
    id.word6 = 0x0D0E;
    id.byte10to12 = {10, 11, 12};
    id.byte13 = 13;
    s.memory.word0 = 1;
    s.memory.totalMb = 1024;
    s.memory.seriesMb = 256;
    s.memory.databaseMb = 128;
    s.memory.procedureNumber = 1;
    s.memory.freeBlocks = 1024 * 2048 - 4096;
    return s;
}

SimulatedInstrument::SimulatedInstrument(SimSettings settings)
    : settings_(std::move(settings)), random_(settings_.faults.seed) {}

namespace {

std::string Key(char kind, unsigned number, unsigned sub) {
    return std::string(1, kind) + std::to_string(number) + "." + std::to_string(sub);
}

std::string CardName(unsigned number, const char* suffix) {
    char buf[48];
    std::snprintf(buf, sizeof buf, "P%03u%s", number, suffix);
    return buf;
}

bool WriteFile(const std::string& dir, const std::string& name, const std::vector<std::uint8_t>& d,
               std::string& path) {
    if (dir.empty())
        return true;
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    path = dir + "/" + name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(d.data()), static_cast<std::streamsize>(d.size()));
    return static_cast<bool>(out.flush());
}

}  // namespace

void SimulatedInstrument::store(const std::string& key, std::size_t offset,
                                const std::uint8_t* data, std::size_t n) {
    auto& file = files_[key].data;
    if (file.size() < offset + n)
        file.resize(offset + n, 0);
    std::memcpy(file.data() + offset, data, n);
}

std::vector<std::uint8_t> SimulatedInstrument::finish(const std::string& key,
                                                      const std::string& name, int& pending) {
    auto it = files_.find(key);
    const std::vector<std::uint8_t> data =
        it == files_.end() ? std::vector<std::uint8_t>{} : it->second.data;
    if (it != files_.end())
        files_.erase(it);
    std::string path;
    if (!WriteFile(settings_.cardDir, name, data, path))
        return {255, 0};
    lastFile_ = path;
    const std::uint32_t blocks = static_cast<std::uint32_t>((data.size() + 511) / 512);
    InstrumentMemory& m = settings_.memory;
    m.freeBlocks = m.freeBlocks > blocks ? m.freeBlocks - blocks : 0;
    pending = settings_.faults.busyPolls;
    return {0, static_cast<std::uint8_t>(pending > 0 ? 1 : 0)};
}

std::vector<std::uint8_t> SimulatedInstrument::poll(int& pending) {
    if (pending > 0) {
        --pending;
        return {1, 1};
    }
    return {0, 0};
}

std::optional<std::vector<std::uint8_t>> SimulatedInstrument::handle(const std::uint8_t* d,
                                                                     std::size_t n) {
    using Answer = std::optional<std::vector<std::uint8_t>>;
    const Answer unknown = std::vector<std::uint8_t>{'?'};
    if (n == 0)
        return unknown;
    const std::string key(reinterpret_cast<const char*>(d), d[0] != 'p' ? 1
                                                            : n >= 2 && d[1] == 'I'
                                                                ? 2
                                                                : std::min<std::size_t>(n, 3));
    ++counts_[key];
    const SimFaults& f = settings_.faults;
    auto word = [&](std::size_t i) { return static_cast<unsigned>(d[i] << 8 | d[i + 1]); };

    if (key == "B")
        return std::nullopt;
    if (key == "V")
        return BuildIdentification(settings_.identity);
    if (key == "Z")
        return std::vector<std::uint8_t>{static_cast<std::uint8_t>(f.refuseSelection ? 0 : 1), 0};
    if (key == "W" && n >= 2) {
        selected_ = d[1] == 1;
        return std::vector<std::uint8_t>{0, 0};
    }
    if (key == "pI")
        return BuildMemoryAnswer(settings_.memory);
    // The closing polls are three bytes; every other request names the
    // procedure number in byte 3.
    if (key == "pP?")
        return poll(pendingP_);
    if (key == "pQ?")
        return poll(pendingQ_);
    if (key == "pB?")
        return poll(pendingB_);
    if (key.size() < 3 || n < 4)
        return unknown;
    const unsigned number = d[3];
    if (key == "pPH") {
        std::string path;
        WriteFile(settings_.cardDir, CardName(number, ".HDR"),
                  std::vector<std::uint8_t>(d + 4, d + n), path);
        files_.erase(Key('P', number, 0));
        return std::vector<std::uint8_t>{static_cast<std::uint8_t>(f.refuseHeader ? 0 : 1), 0};
    }
    if (key == "pPD" && n >= 8) {
        const unsigned block = word(4);
        if (block > 0)
            store(Key('P', number, 0), (block - 1) * 800u, d + 7,
                  std::min<std::size_t>(n - 7, 800));
        return std::nullopt;
    }
    if (key == "pPW") {
        const std::vector<std::uint8_t> a =
            finish(Key('P', number, 0), CardName(number, ".PAD"), pendingP_);
        if (a[0] == 0)
            settings_.memory.procedureNumber =
                static_cast<std::uint8_t>(number < 99 ? number + 1 : 0);
        return a;
    }
    if (key == "pQD" && n >= 9) {
        const unsigned block = word(5);
        if (block > 0)
            store(Key('Q', number, d[4]), (block - 1) * 800u, d + 8,
                  std::min<std::size_t>(n - 8, 800));
        return std::nullopt;
    }
    if (key == "pQW" && n >= 5) {
        const std::string suffix = ".IR" + std::to_string(d[4]);
        return finish(Key('Q', number, d[4]), CardName(number, suffix.c_str()), pendingQ_);
    }
    if (key == "pBD" && n >= 8) {
        const unsigned counter = word(5);
        if (counter > 0)
            store(Key('B', number, d[4]), (counter - 1) * 512u, d + 8, n - 8);
        return std::nullopt;
    }
    if (key == "pBW" && n >= 5) {
        const std::string suffix = "_" + std::to_string(d[4]) + ".BMP";
        return finish(Key('B', number, d[4]), CardName(number, suffix.c_str()), pendingB_);
    }
    return unknown;
}

bool SimSerialPeer::chance(double fraction) {
    if (fraction <= 0)
        return false;
    return std::uniform_real_distribution<double>(0, 1)(instrument_.random()) < fraction;
}

std::vector<std::uint8_t> SimSerialPeer::frameEnded(bool good) {
    SimFaults& f = instrument_.settings().faults;
    if (chance(f.dropFraction))
        return {};
    if (f.nakStorm > 0) {
        --f.nakStorm;
        return {kNak};
    }
    if (!good)
        return {kNak};
    std::vector<std::uint8_t> out{kAck};
    const auto& stored = decoder_.stored();
    if (stored.empty())
        return out;
    auto answer = instrument_.handle(stored.data(), stored.size() - 1);
    if (!answer)
        return out;
    if (f.answerQuestion)
        answer = std::vector<std::uint8_t>{'?'};
    std::vector<std::uint8_t> wire = EncodeFrame(answer->data(), answer->size());
    if (chance(f.corruptFraction)) {
        // Same frame with a wrong check byte.
        const std::uint8_t check = BlockCheck(answer->data(), answer->size());
        const std::size_t keep = wire.size() - (check == kDle ? 4 : 3);
        wire = std::vector<std::uint8_t>(wire.begin(),
                                         wire.begin() + static_cast<std::ptrdiff_t>(keep));
        const std::uint8_t bad = static_cast<std::uint8_t>(check ^ 0x5A);
        wire.push_back(bad);
        if (bad == kDle)
            wire.push_back(kDle);
        wire.push_back(kDle);
        wire.push_back(kEtx);
    }
    out.insert(out.end(), wire.begin(), wire.end());
    return out;
}

std::vector<std::uint8_t> SimSerialPeer::feed(const std::uint8_t* data, std::size_t n) {
    std::vector<std::uint8_t> out;
    for (std::size_t i = 0; i < n; ++i) {
        if (!inFrame_) {
            // Outside a frame only a DLE matters; the host's ACK and NAK for our
            // answers need no reaction.
            if (data[i] == kDle) {
                inFrame_ = true;
                decoder_.reset();
            }
            continue;
        }
        const FrameDecoder::Step step = decoder_.push(data[i]);
        if (step == FrameDecoder::Step::kMore)
            continue;
        inFrame_ = false;
        const auto reply = frameEnded(step == FrameDecoder::Step::kEnd && decoder_.checkOk());
        out.insert(out.end(), reply.begin(), reply.end());
    }
    return out;
}

LinkStatus SimSerialTransport::doRead(std::uint8_t* data, std::size_t n, std::size_t& got, int) {
    if (!open_)
        return LinkStatus::kInvalid;
    while (got < n && !pending_.empty()) {
        data[got++] = pending_.front();
        pending_.pop_front();
    }
    return got ? LinkStatus::kOk : LinkStatus::kTimeout;
}

LinkStatus SimSerialTransport::doWrite(const std::uint8_t* data, std::size_t n,
                                       std::size_t& written) {
    if (!open_)
        return LinkStatus::kInvalid;
    const auto reply = peer_.feed(data, n);
    pending_.insert(pending_.end(), reply.begin(), reply.end());
    written = n;
    return LinkStatus::kOk;
}

// The simulated instruments carry the test id, on bus 1 from address 1 on.
int SimUsbBackend::findDevices(const std::vector<UsbId>& ids, std::vector<int>& devices,
                               std::vector<UsbSeen>& all) {
    devices.clear();
    all.clear();
    const bool listed = std::find(ids.begin(), ids.end(), kUsbTestId) != ids.end();
    for (std::size_t i = 0; i < instruments_.size(); ++i) {
        all.push_back({kUsbTestId, 1, static_cast<int>(i) + 1});
        if (listed)
            devices.push_back(static_cast<int>(i));
    }
    open_.assign(instruments_.size(), false);
    return 0;
}

int SimUsbBackend::open(int device, bool, std::string&) {
    if (device < 0 || static_cast<std::size_t>(device) >= instruments_.size())
        return LIBUSB_ERROR_NOT_FOUND;
    open_.resize(instruments_.size());
    open_[static_cast<std::size_t>(device)] = true;
    return device;
}

void SimUsbBackend::close(int handle) {
    if (handle >= 0 && static_cast<std::size_t>(handle) < open_.size())
        open_[static_cast<std::size_t>(handle)] = false;
}

void SimUsbBackend::answer(std::size_t device, const std::uint8_t* data, std::size_t n) {
    SimulatedInstrument& inst = *instruments_[device];
    SimFaults& f = inst.settings().faults;
    auto chance = [&](double fraction) {
        return fraction > 0 &&
               std::uniform_real_distribution<double>(0, 1)(inst.random()) < fraction;
    };
    if (chance(f.dropFraction))
        return;
    auto a = inst.handle(data, n);
    if (!a)
        return;
    if (f.answerQuestion)
        a = std::vector<std::uint8_t>{'?'};
    if (chance(f.corruptFraction) && !a->empty())
        (*a)[0] ^= 0xFF;
    answers_[device] = *a;
}

bool SimUsbBackend::gone(std::size_t device) {
    const int after = instruments_[device]->settings().faults.goneAfter;
    return after > 0 && transfersOut_[device] >= after;
}

int SimUsbBackend::controlOut(int handle, std::uint8_t requestType, std::uint8_t request,
                              std::uint16_t, std::uint16_t, const std::uint8_t* data,
                              std::uint16_t length, unsigned) {
    if (handle < 0 || static_cast<std::size_t>(handle) >= open_.size() ||
        !open_[static_cast<std::size_t>(handle)])
        return LIBUSB_ERROR_NO_DEVICE;
    const UsbRequestMap expected;
    if (requestType != expected.requestType || request != expected.request)
        return LIBUSB_ERROR_PIPE;
    if (gone(static_cast<std::size_t>(handle)))
        return LIBUSB_ERROR_NO_DEVICE;
    ++transfersOut_[static_cast<std::size_t>(handle)];
    answer(static_cast<std::size_t>(handle), data, length);
    return length;
}

int SimUsbBackend::bulk(int handle, std::uint8_t endpoint, std::uint8_t* data, int length,
                        int& transferred, unsigned) {
    transferred = 0;
    if (handle < 0 || static_cast<std::size_t>(handle) >= open_.size() ||
        !open_[static_cast<std::size_t>(handle)])
        return LIBUSB_ERROR_NO_DEVICE;
    const std::size_t device = static_cast<std::size_t>(handle);
    if (gone(device))
        return LIBUSB_ERROR_NO_DEVICE;
    if (endpoint == kUsbEndpointOut) {
        ++transfersOut_[device];
        const int payload = length % 64 == 1 ? length - 1 : length;
        answer(device, data, static_cast<std::size_t>(payload));
        transferred = length;
        return 0;
    }
    if (endpoint != kUsbEndpointIn)
        return LIBUSB_ERROR_PIPE;
    auto it = answers_.find(device);
    if (it == answers_.end())
        return LIBUSB_ERROR_TIMEOUT;
    const std::size_t n = std::min(it->second.size(), static_cast<std::size_t>(length));
    std::memcpy(data, it->second.data(), n);
    transferred = static_cast<int>(n);
    answers_.erase(it);
    return 0;
}

int SimUsbBackend::stringDescriptor(int handle, std::uint8_t index, std::uint16_t,
                                    std::uint8_t* data, int capacity) {
    if (handle < 0 || static_cast<std::size_t>(handle) >= instruments_.size() || index != 2)
        return LIBUSB_ERROR_INVALID_PARAM;
    const char* name = instruments_[static_cast<std::size_t>(handle)]->settings().identity.name;
    const int len = static_cast<int>(std::strlen(name));
    const int total = std::min(2 + 2 * len, capacity);
    if (total < 2)
        return LIBUSB_ERROR_OVERFLOW;
    data[0] = static_cast<std::uint8_t>(total);
    data[1] = 3;
    for (int i = 0; 2 + 2 * i + 1 < total; ++i) {
        data[2 + 2 * i] = static_cast<std::uint8_t>(name[i]);
        data[3 + 2 * i] = 0;
    }
    return total;
}

std::vector<std::shared_ptr<SimulatedInstrument>> AttachSimulatedUsb(Link& link,
                                                                     const SimSettings& settings,
                                                                     int count,
                                                                     std::uint16_t secondModel) {
    std::vector<std::shared_ptr<SimulatedInstrument>> sims;
    for (int i = 0; i < count; ++i) {
        SimSettings s = settings;
        if (i > 0) {
            if (secondModel != 0) {
                s.identity.model = secondModel;
                std::snprintf(s.identity.name, sizeof s.identity.name, "PV-SIM %04X", secondModel);
            }
            if (!s.cardDir.empty())
                s.cardDir += "/" + std::to_string(i + 1);
            s.faults.seed += static_cast<std::uint32_t>(i);
        }
        sims.push_back(std::make_shared<SimulatedInstrument>(s));
    }
    link.linkKind = kLinkUsb;
    link.usb.backend = std::make_unique<SimUsbBackend>(sims);
    link.usb.ids = {kUsbTestId};
    return sims;
}

}  // namespace quelvari::link

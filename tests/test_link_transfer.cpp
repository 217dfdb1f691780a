// The transfer against the simulated instrument on a virtual clock: what goes
// out block by block, the closing handshake and its polls, the start checks,
// cancellation, and the job gathered from a checked procedure's files; then
// whole transfers through the command line.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "check/syntax_test.h"
#include "link/instrument.h"
#include "link/link_settings.h"
#include "link/simulator.h"
#include "link/transfer.h"
#include "link/transfer_job.h"
#include "link_test_util.h"
#include "model/numbers.h"
#include "model/record_reader.h"
#include "test_util.h"

namespace quelvari::link {
namespace {

namespace fs = std::filesystem;
using test::Bytes;
using test::Numbered;
using test::PtyInstrument;
using test::TempDir;

// Every payload the host sends, with the time it went out.
struct Sent {
    std::uint64_t time;
    std::vector<std::uint8_t> bytes;
    std::string key() const {
        return std::string(bytes.begin(), bytes.begin() + std::min<std::size_t>(3, bytes.size()));
    }
};

// The simulated instruments' USB side, keeping every payload the host sends.
class RecordingBackend : public SimUsbBackend {
  public:
    RecordingBackend(std::vector<std::shared_ptr<SimulatedInstrument>> sims, Clock& clock)
        : SimUsbBackend(std::move(sims)), clock_(clock) {}
    int controlOut(int h, std::uint8_t type, std::uint8_t req, std::uint16_t v, std::uint16_t i,
                   const std::uint8_t* data, std::uint16_t length, unsigned t) override {
        sent.push_back({clock_.nowMs(), {data, data + length}});
        return SimUsbBackend::controlOut(h, type, req, v, i, data, length, t);
    }
    int bulk(int h, std::uint8_t ep, std::uint8_t* data, int length, int& transferred,
             unsigned t) override {
        if (ep == kUsbEndpointOut) {
            const int payload = length % 64 == 1 ? length - 1 : length;
            sent.push_back({clock_.nowMs(), {data, data + payload}});
        }
        return SimUsbBackend::bulk(h, ep, data, length, transferred, t);
    }
    std::vector<Sent> sent;

  private:
    Clock& clock_;
};

class Observed : public TransferObserver {
  public:
    void progress(int p) override {
        positions.push_back(p);
        if (cancelAt && p == cancelAt)
            cancel.cancel();
    }
    void status(const std::string& text) override {
        statuses.push_back(text);
        if (statuses.size() == cancelAtStatus)
            cancel.cancel();
    }
    void pictureMissing(const std::string&) override { ++missing; }
    std::vector<int> positions;
    std::vector<std::string> statuses;
    int missing = 0;
    int cancelAt = 0;  // the progress, or the status count, that presses Cancel
    std::size_t cancelAtStatus = 0;
    CancelToken cancel;
};

class TransferTest : public ::testing::Test {
  protected:
    void attach(int count = 1, std::uint16_t model = 0x6410, std::uint16_t second = 0) {
        SimSettings s = DefaultSimSettings(model);
        s.cardDir = card.path();
        s.faults.busyPolls = busyPolls;
        sims = AttachSimulatedUsb(link, s, count, second);
        auto rec = std::make_unique<RecordingBackend>(sims, clock);
        backend = rec.get();
        link.usb.backend = std::move(rec);
    }
    std::vector<Sent> sentWith(const std::string& key) const {
        std::vector<Sent> out;
        for (const Sent& s : backend->sent)
            if (s.key() == key)
                out.push_back(s);
        return out;
    }
    TransferResult run(const TransferJob& job) {
        link.setCancel(&observed.cancel);
        return RunTransfer(link, job, settings, observed);
    }

    VirtualClock clock;
    Link link{clock};
    TempDir card;
    int busyPolls = 0;
    std::vector<std::shared_ptr<SimulatedInstrument>> sims;
    RecordingBackend* backend = nullptr;
    TransferSettings settings;
    Observed observed;
};

TEST_F(TransferTest, BlocksAreNumberedFromOneBigEndianOnePerTickInEveryPhase) {
    attach();
    ASSERT_EQ(InstrumentConnect(link), 0);
    TransferJob job;
    for (int i = 0; i < 300; ++i)
        job.records.push_back(Numbered(i + 1));
    job.header.fill(0x5A);
    // Interrupt procedures 2 and 4; the empty ones are skipped without a
    // request.
    job.interrupts[1] = {Numbered(11), Numbered(12)};
    job.interrupts[3] = {Numbered(41)};
    TempDir pics;
    std::vector<std::uint8_t> picture(1536 + 100);
    for (std::size_t i = 0; i < picture.size(); ++i)
        picture[i] = static_cast<std::uint8_t>(i * 13);
    test::writeBytes(pics.file("a.bmp"), picture);
    test::writeBytes(pics.file("b.bmp"), std::vector<std::uint8_t>(600, 0x42));
    job.pictures = {{pics.file("a.bmp"), false}, {pics.file("b.bmp"), false}};
    settings.number = 7;
    const TransferResult r = run(job);
    ASSERT_EQ(r.code, 0);
    EXPECT_EQ(r.blocks, 300 + 3 + 3);
    EXPECT_EQ(r.picturesSent, 2);

    const auto header = sentWith("pPH");
    ASSERT_EQ(header.size(), 1u);
    EXPECT_EQ(header[0].bytes.size(), 1828u);
    EXPECT_EQ(header[0].bytes[3], 7);

    const auto blocks = sentWith("pPD");
    ASSERT_EQ(blocks.size(), 300u);
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const int n = static_cast<int>(i + 1);
        Bytes expected(job.records[i].bytes.begin(), job.records[i].bytes.end());
        expected.insert(expected.begin(),
                        {'p', 'P', 'D', 7, std::uint8_t(n >> 8), std::uint8_t(n), 1});
        EXPECT_EQ(blocks[i].bytes, expected) << n;
        if (i > 0) {
            EXPECT_EQ(blocks[i].time - blocks[i - 1].time, TransferTiming::kTick);
        }
    }

    // The card holds the header and the records as they were sent, and the
    // write request came one tick after the last block.
    const auto pad = test::readBytes(card.file("P007.PAD"));
    ASSERT_EQ(pad.size(), 300u * 800);
    EXPECT_TRUE(std::equal(job.records[42].bytes.begin(), job.records[42].bytes.end(),
                           pad.begin() + 42 * 800));
    EXPECT_EQ(test::readBytes(card.file("P007.HDR")),
              std::vector<std::uint8_t>(kHeaderBlockSize, 0x5A));
    const auto write = sentWith("pPW");
    ASSERT_EQ(write.size(), 1u);
    EXPECT_EQ(write[0].bytes, Bytes({'p', 'P', 'W', 7}));
    EXPECT_EQ(write[0].time - blocks.back().time, TransferTiming::kTick);
    EXPECT_EQ(observed.positions.front(), 0);
    EXPECT_EQ(observed.positions[300], 300);

    // Interrupt blocks carry the routine and their own count.
    const auto head = [](const Sent& s) {
        return std::vector<std::uint8_t>(s.bytes.begin(), s.bytes.begin() + 8);
    };
    const auto irq = sentWith("pQD");
    ASSERT_EQ(irq.size(), 3u);
    EXPECT_EQ(head(irq[0]), Bytes({'p', 'Q', 'D', 7, 2, 0, 1, 1}));
    EXPECT_EQ(head(irq[1]), Bytes({'p', 'Q', 'D', 7, 2, 0, 2, 1}));
    EXPECT_EQ(head(irq[2]), Bytes({'p', 'Q', 'D', 7, 4, 0, 1, 1}));
    EXPECT_EQ(irq[2].bytes.size(), 808u);
    EXPECT_EQ(sentWith("pQW")[0].bytes, Bytes({'p', 'Q', 'W', 7, 2, 0, 2}));
    EXPECT_EQ(sentWith("pQW")[1].bytes, Bytes({'p', 'Q', 'W', 7, 4, 0, 1}));
    EXPECT_TRUE(fs::exists(card.file("P007.IR4")));
    EXPECT_FALSE(fs::exists(card.file("P007.IR1")));

    // Picture blocks carry units of 512 bytes, and the counter advances by
    // them: 1536 + 100 bytes go as counter 1 (units 3) and 4 (units 1).
    const auto pic = sentWith("pBD");
    ASSERT_EQ(pic.size(), 3u);
    EXPECT_EQ(head(pic[0]), Bytes({'p', 'B', 'D', 7, 0, 0, 1, 3}));
    EXPECT_EQ(pic[0].bytes.size(), 8u + 1536);
    EXPECT_EQ(head(pic[1]), Bytes({'p', 'B', 'D', 7, 0, 0, 4, 1}));
    EXPECT_EQ(head(pic[2]), Bytes({'p', 'B', 'D', 7, 1, 0, 1, 2}));  // 600 bytes: two units
    EXPECT_EQ(sentWith("pBW")[0].bytes, Bytes({'p', 'B', 'W', 7, 0, 0, 5}));
    EXPECT_EQ(sentWith("pBW")[1].bytes, Bytes({'p', 'B', 'W', 7, 1, 0, 3}));
    EXPECT_EQ(test::readBytes(card.file("P007_0.BMP")), picture);
    // Status: each file's closing, a picture's name by its last 30
    // characters, then the count.
    const auto name = [&](const char* file) {
        const std::string path = pics.file(file);
        return path.substr(path.size() - std::min<std::size_t>(path.size(), 30));
    };
    EXPECT_EQ(observed.statuses,
              (std::vector<std::string>{"Write PAD -> CF", "Write IRQ2 -> CF", "Write IRQ4 -> CF",
                                        name("a.bmp"), "Write BMP -> CF", name("b.bmp"),
                                        "Write BMP -> CF", "2"}));
}

TEST_F(TransferTest, ScreenPicturesGoConvertedOnlyWithFastPresentation) {
    attach(1, 0x3320);
    ASSERT_EQ(InstrumentConnect(link), 0);
    TempDir pics;
    test::writeBytes(pics.file("s.jpg"), std::vector<std::uint8_t>(700, 1));
    TransferJob job;
    job.records = {Numbered(1)};
    job.pictures = {{pics.file("s.jpg"), true}};
    int conversions = 0;
    settings.model = 0x3320;
    settings.toScreen = [&](const std::string&, std::uint16_t model, std::vector<std::uint8_t>& o) {
        ++conversions;
        const std::uint8_t red[3] = {255, 0, 0};
        o = PackScreen(model, 1, 1, red, 3);
        return true;
    };
    ASSERT_EQ(run(job).code, 0);
    EXPECT_EQ(conversions, 1);
    const auto screen = test::readBytes(card.file("P001_0.BMP"));
    ASSERT_EQ(screen.size(), kScreenBufferSize);
    // Red in 5-6-5, little-endian, then the preset of a PV3320.
    EXPECT_EQ(std::vector<std::uint8_t>(screen.begin(), screen.begin() + 4),
              Bytes({0x00, 0xF8, 0xDE, 0x7B}));
    EXPECT_EQ(sentWith("pBD").size(), (kScreenBufferSize + 1535) / 1536);
    EXPECT_EQ(SentPictureSize(job.pictures[0], settings), kScreenBufferSize);

    settings.fastPictures = false;
    ASSERT_EQ(run(job).code, 0);
    EXPECT_EQ(conversions, 1);
    EXPECT_EQ(test::readBytes(card.file("P001_0.BMP")).size(), 700u);
    EXPECT_EQ(SentPictureSize(job.pictures[0], settings), 700u);
    EXPECT_EQ(ScreenPreset(0x6410), std::vector<std::uint8_t>(kScreenBufferSize, 0xFF));
}

TEST_F(TransferTest, FinishFilePollsEvery200MsAtMostFiftyTimes) {
    busyPolls = 2;
    attach();
    ASSERT_EQ(InstrumentConnect(link), 0);
    backend->sent.clear();
    const std::uint64_t t0 = clock.nowMs();
    EXPECT_EQ(FinishFile(link, 'P', 1, 0, 0), 0);
    const auto polls = sentWith("pP?");
    ASSERT_EQ(polls.size(), 3u);
    // 200 ms before each poll; each USB request answers on its first 20 ms
    // poll, and the handshake ends with 100 ms.
    EXPECT_EQ(polls[0].time - sentWith("pPW")[0].time, 200u + 21);
    EXPECT_EQ(polls[2].time - polls[1].time, 200u + 21);
    EXPECT_EQ(clock.nowMs() - t0, 4u * 21 + 3 * 200 + 100);

    // Done on poll 49 is success; done only on the 50th counts as a failure,
    // and so does no success at all.
    for (const auto& [busy, expected, count] :
         {std::tuple{48, 0, 49u}, std::tuple{49, 91, 50u}, std::tuple{70, 91, 50u}}) {
        sims[0]->settings().faults.busyPolls = busy;
        backend->sent.clear();
        EXPECT_EQ(FinishFile(link, 'B', 1, 0, 5), expected) << busy;
        EXPECT_EQ(sentWith("pB?").size(), count) << busy;
    }
}

TEST_F(TransferTest, StartChecksRefuseASecondInstrumentAndTooLittleMemory) {
    attach(2, 0x3320);
    ASSERT_EQ(InstrumentConnect(link), 0);
    InstrumentMemory memory = sims[0]->settings().memory;
    EXPECT_EQ(StartChecks(link, memory, MemoryNeed{}), 78);

    Link single(clock);
    AttachSimulatedUsb(single, DefaultSimSettings(0x6410));
    ASSERT_EQ(InstrumentConnect(single), 0);
    memory.freeBlocks = 10;  // 5120 bytes
    memory.seriesMb = 1;
    MemoryNeed need{4096, 1024};
    EXPECT_EQ(StartChecks(single, memory, need), 0);
    need.pictureBytes = 1536;
    EXPECT_EQ(StartChecks(single, memory, need), 82);
    need.pictureBytes = 0;
    need.seriesKb = 1025;
    EXPECT_EQ(StartChecks(single, memory, need), 83);

    // The need counts whole 512-byte blocks per file.
    TransferJob job;
    job.records.resize(3);
    job.interrupts[2].resize(1);
    job.pictures = {{"x", false}};
    const MemoryNeed n = ComputeMemoryNeed(job, [](const TransferPicture&) { return 513; });
    EXPECT_EQ(n.procedureBytes, 2048u + 2560 + 1024);
    EXPECT_EQ(n.pictureBytes, 1024u);
}

TEST_F(TransferTest, RefusalFailureAndCancelAlwaysReleaseTheInstrument) {
    attach();
    TransferJob job;
    for (int i = 0; i < 20; ++i)
        job.records.push_back(Numbered(i + 1));

    sims[0]->settings().faults.refuseHeader = true;
    ASSERT_EQ(InstrumentConnect(link), 0);
    ASSERT_TRUE(sims[0]->selected());
    EXPECT_EQ(run(job).code, 101);
    EXPECT_FALSE(sims[0]->selected());
    EXPECT_TRUE(sentWith("pPD").empty());

    sims[0]->settings().faults.refuseHeader = false;
    ASSERT_EQ(InstrumentConnect(link), 0);
    backend->sent.clear();
    observed.cancelAt = 10;
    const TransferResult r = run(job);
    EXPECT_TRUE(r.cancelled);
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(sentWith("pPD").size(), 10u);
    EXPECT_TRUE(sentWith("pPW").empty());
    EXPECT_FALSE(sims[0]->selected());
    EXPECT_EQ(backend->sent.back().bytes, Bytes({'W', 0}));
    EXPECT_FALSE(fs::exists(card.file("P001.PAD")));

    // A write the instrument cannot finish stops with 91 and releases too.
    observed.cancelAt = 0;
    observed.cancel.reset();
    ASSERT_EQ(InstrumentConnect(link), 0);
    sims[0]->settings().faults.busyPolls = 80;
    EXPECT_EQ(run(job).code, 91);
    EXPECT_FALSE(sims[0]->selected());
}

TEST_F(TransferTest, AMissingPictureIsTriedOnEveryTickUntilCancelled) {
    attach();
    // A FIFO or a device in place of the picture is no picture either: it is
    // neither waited on nor read without end.
    const std::string fifo = card.file("fifo.bmp"), zero = card.file("zero.bmp");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", zero);
    for (const std::string& path : {card.file("no-such-picture.bmp"), fifo, zero}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(SentPictureSize({path, false}, settings), 0u);
        ASSERT_EQ(InstrumentConnect(link), 0) << link.lastReason;
        TransferJob job;
        job.records = {Numbered(1)};
        job.pictures = {{path, false}};
        Observed watcher;
        watcher.cancelAtStatus = 25;
        const std::uint64_t t0 = clock.nowMs();
        link.setCancel(&watcher.cancel);
        const TransferResult r = RunTransfer(link, job, settings, watcher);
        EXPECT_TRUE(r.cancelled);
        EXPECT_EQ(watcher.missing, 1);
        EXPECT_EQ(watcher.statuses.size(), 25u);  // "Write PAD -> CF", then 24 tries of the picture
        EXPECT_GE(clock.nowMs() - t0, 25u * TransferTiming::kTick);
        EXPECT_TRUE(sentWith("pBD").empty());
        EXPECT_FALSE(sims[0]->selected());
        link.setCancel(nullptr);
    }
}

// The job from a procedure checked by the syntax test.
class TransferJobTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* name : {"CLEAN.PAD", "CLEAN.IR1", "LEAKAGE.PAM"})
            fs::copy_file(std::string(QUELVARI_EXAMPLES) + "/check-clean/" + name, dir.file(name));
        pad = dir.file("CLEAN.PAD");
    }
    TempDir dir;
    std::string pad;
};

TEST_F(TransferJobTest, TheSystemFileOfACheckForTheModelMustBeCurrent) {
    TransferJob job;
    EXPECT_EQ(PrepareTransferJob(pad, 1, job), 90);  // never checked
    EXPECT_EQ(PrepareTransferJob(pad, 2, job), 75);
    EXPECT_EQ(PrepareTransferJob(pad, -1, job), 75);

    ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv6410).systemFileWritten);
    ASSERT_EQ(PrepareTransferJob(pad, 1, job), 0);
    EXPECT_EQ(PrepareTransferJob(pad, 2, job), 75);  // checked for the other model

    ASSERT_EQ(PrepareTransferJob(pad, 1, job), 0);
    const auto sys = test::readBytes(SystemFilePath(pad));
    ASSERT_EQ(sys.size(), kSystemBlockSize);
    EXPECT_TRUE(std::equal(job.header.begin(), job.header.end(), sys.begin()));
    RecordFile file;
    ASSERT_TRUE(readRecordFile(pad, file).ok());
    EXPECT_EQ(job.records.size(), file.records.size());
    EXPECT_FALSE(job.interrupts[0].empty());  // CLEAN uses its routine 1
    EXPECT_TRUE(job.interrupts[1].empty());

    // A procedure saved after the check needs the check again.
    fs::last_write_time(SystemFilePath(pad), fs::last_write_time(pad) - std::chrono::seconds(5));
    EXPECT_EQ(PrepareTransferJob(pad, 1, job), 90);
    ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv3320).systemFileWritten);
    EXPECT_EQ(PrepareTransferJob(pad, 2, job), 0);

    // Old format and unreadable files.
    test::writeBytes(pad, std::vector<std::uint8_t>(768, 0));
    fs::last_write_time(SystemFilePath(pad), fs::last_write_time(pad) + std::chrono::seconds(5));
    EXPECT_EQ(PrepareTransferJob(pad, 2, job), 85);
    EXPECT_EQ(PrepareTransferJob(dir.file("NONE.PAD"), 2, job), 72);
}

TEST_F(TransferJobTest, FifosAndDevicesAreNeitherWaitedOnNorReadWithoutEnd) {
    ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv6410).systemFileWritten);
    TransferJob job;
    ASSERT_EQ(PrepareTransferJob(pad, 1, job), 0);
    const std::string sys = SystemFilePath(pad);
    const std::string settings = dir.file("link.conf");
    // A FIFO without a writer would block an ordinary open; /dev/zero never
    // ends. Both read as "not checked" and as the default settings.
    for (const bool fifo : {true, false}) {
        SCOPED_TRACE(fifo ? "FIFO" : "/dev/zero");
        for (const std::string& p : {sys, settings}) {
            fs::remove(p);
            ASSERT_EQ(fifo ? ::mkfifo(p.c_str(), 0600) : ::symlink("/dev/zero", p.c_str()), 0);
        }
        EXPECT_EQ(PrepareTransferJob(pad, 1, job), 90);
        const LinkConfig read = ReadLinkConfig(settings);
        EXPECT_EQ(read.kind, LinkConfig::Kind::kUsb);
        EXPECT_TRUE(read.usbIds.empty());
    }
    // A settings file larger than any real one reads as the defaults too.
    fs::remove(settings);
    test::writeText(settings, "kind=serial" + std::string(kLinkConfigMax + 1 - 11, '\n'));
    EXPECT_EQ(ReadLinkConfig(settings).kind, LinkConfig::Kind::kUsb);
}

TEST_F(TransferJobTest, TheStartRefusesAFullInstrumentAndAPictureTheCounterCannotCarry) {
    ASSERT_TRUE(RunSyntaxTest(pad, kCheckPv6410).systemFileWritten);
    test::MemoryFields display;
    struct Case {
        const char* what;
        std::uint8_t number;  // the instrument's next free place
        std::uint64_t pictureBytes;
        int code;
        std::string detail;
    };
    const std::string picture = dir.file("HUGE.BMP");
    for (const Case& c : {Case{"full", 0, 0, 82, "\" voll\""},
                          Case{"picture", 1, kPictureBytesMax + 1, 79, picture},
                          Case{"largest picture", 1, kPictureBytesMax, 0, ""}}) {
        SCOPED_TRACE(c.what);
        if (c.pictureBytes) {
            // A sparse file of the size, named by the checked procedure.
            test::writeBytes(picture, {});
            fs::resize_file(picture, c.pictureBytes);
            auto sys = test::readBytes(SystemFilePath(pad));
            PutLe16(sys.data() + sysblk::kPictureCount, 1);
            std::copy(picture.begin(), picture.end(), sys.begin() + sysblk::kPictures);
            test::writeBytes(SystemFilePath(pad), sys);
        }
        VirtualClock clock;
        Link link(clock);
        TempDir card;
        SimSettings s = DefaultSimSettings();
        s.cardDir = card.path();
        s.memory.procedureNumber = c.number;
        s.memory.freeBlocks = 0x7FFFFFFF;
        auto sims = AttachSimulatedUsb(link, s);
        TransferSettings settings;
        settings.fastPictures = false;
        // Cancelled at the first block when it does start: only the refusal
        // (or its absence) is of interest here.
        Observed stop;
        stop.cancelAt = 1;
        link.setCancel(&stop.cancel);
        const TransferOutcome out = TransferToInstrument(link, pad, settings, display, stop);
        EXPECT_EQ(out.code, c.code);
        if (c.code != 0) {
            EXPECT_NE(link.lastReason.find(c.detail), std::string::npos) << link.lastReason;
            EXPECT_EQ(sims[0]->counts().count("pPH"), 0u);  // refused before the header
        } else {
            EXPECT_TRUE(out.cancelled);
            EXPECT_EQ(sims[0]->counts().count("pPH"), 1u);
        }
    }
}

// Whole transfers with quelvari-cli: through the in-process simulated
// instrument and through quelvari-instrument on a pseudo-terminal with the
// real serial port backend, clean and with damaged frames. Every run is
// bounded by `timeout`: a hang fails the test instead of stopping the suite.
class TransferCli : public TransferJobTest {
  protected:
    test::CommandResult transfer(const std::string& link, const std::string& more = "") {
        return test::runCommand("timeout 120 " + std::string(QUELVARI_CLI) + " transfer '" + pad +
                                "' --number 2 --lang 1 --link " + link + " " + more + " 2>&1");
    }
    std::vector<std::string> cardFiles(const std::string& card) {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(card))
            names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    void expectSameCards(const std::string& a, const std::string& b) {
        ASSERT_EQ(cardFiles(a), cardFiles(b));
        for (const std::string& name : cardFiles(a))
            EXPECT_EQ(test::readBytes(a + "/" + name), test::readBytes(b + "/" + name)) << name;
    }
};

TEST_F(TransferCli, RefusesAnUncheckedProcedureAndBadArguments) {
    const auto r = transfer("sim:" + dir.file("card"));
    EXPECT_EQ(r.status, 2) << r.out;
    EXPECT_NE(r.out.find("(90)"), std::string::npos) << r.out;
    EXPECT_FALSE(fs::exists(dir.file("card/P002.PAD")));

    const auto bad = test::runCli("transfer '" + pad + "' --number 0 --link sim");
    EXPECT_EQ(bad.status, 64) << bad.out;
    const auto none = test::runCli("transfer --number 3 --link sim");
    EXPECT_EQ(none.status, 64) << none.out;
}

TEST_F(TransferCli, SerialTransferThroughAPseudoTerminalLandsTheSameFiles) {
    ASSERT_EQ(test::runCli("check '" + pad + "' --mode pv6410").status, 0);
    const auto usb = transfer("sim:" + dir.file("usb"));
    ASSERT_EQ(usb.status, 0) << usb.out;
    EXPECT_EQ(cardFiles(dir.file("usb")),
              (std::vector<std::string>{"P002.HDR", "P002.IR1", "P002.PAD"}));
    EXPECT_EQ(test::readBytes(dir.file("usb/P002.PAD")), test::readBytes(pad));

    {
        // An instrument that acknowledges each frame only at its wire time at
        // 57600 baud, as one on a real line does.
        PtyInstrument instrument(dir.file("serial"), {"--busy", "2", "--wire-baud", "57600"});
        ASSERT_FALSE(instrument.path().empty());
        const auto serial = transfer("serial:" + instrument.path(), "--baud 3");
        ASSERT_EQ(serial.status, 0) << serial.out;
    }
    expectSameCards(dir.file("usb"), dir.file("serial"));
    {
        // A full instrument is refused before the transfer.
        PtyInstrument full(dir.file("full"), {"--number", "0"});
        const auto r = transfer("serial:" + full.path(), "--baud 3");
        EXPECT_NE(r.out.find("(82)"), std::string::npos) << r.out;
    }
    {
        // The adapter is pulled during the transfer: message 79 with the
        // system's reason, at once.
        PtyInstrument gone(dir.file("gone"), {"--hang-up-after", "8"});
        ASSERT_FALSE(gone.path().empty());
        const auto r = transfer("serial:" + gone.path(), "--baud 3");
        EXPECT_EQ(r.status, 4) << r.out;
        EXPECT_NE(r.out.find("Input/output error"), std::string::npos) << r.out;
    }

    // Damaged and lost frames: the transfer ends verified or with a catalogue
    // message, never hangs. Lost block frames are sent again.
    for (const auto& [corrupt, drop, seed] :
         {std::tuple{"0.01", "0.01", "3"}, std::tuple{"0.01", "0.01", "7"},
          std::tuple{"0.2", "0.05", "5"}}) {
        const std::string card = dir.file(std::string("faulty-") + seed);
        PtyInstrument instrument(card, {"--corrupt", corrupt, "--drop", drop, "--seed", seed});
        ASSERT_FALSE(instrument.path().empty());
        const auto r = transfer("serial:" + instrument.path(), "--baud 3");
        ASSERT_NE(r.status, 124) << "hung: " << r.out;
        if (r.status == 0) {
            expectSameCards(dir.file("usb"), card);
        } else {
            EXPECT_EQ(r.status, 4) << r.out;
            EXPECT_NE(r.out.find("ERROR"), std::string::npos) << r.out;
        }
    }
}

}  // namespace
}  // namespace quelvari::link

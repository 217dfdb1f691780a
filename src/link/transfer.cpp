#include "link/transfer.h"

#include <algorithm>
#include <cstdio>

#include "link/instrument.h"
#include "link/link_files.h"

namespace quelvari::link {

namespace {

std::uint8_t Hi(std::uint16_t v) {
    return static_cast<std::uint8_t>(v >> 8);
}
std::uint8_t Lo(std::uint16_t v) {
    return static_cast<std::uint8_t>(v);
}

std::uint64_t WholeBlocks(std::uint64_t bytes) {
    return (bytes + 511) / 512 * 512;
}

// One block out. A serial frame that was not acknowledged goes once more
// after the resend delay, as requests do; not when the line is gone or the
// transfer was cancelled.
bool SendBlock(Link& link, const std::vector<std::uint8_t>& block) {
    std::copy(block.begin(), block.end(), link.buf.tx.begin());
    if (LinkSend(link, block.size()) != 0)
        return true;
    if (link.linkKind != kLinkSerial || !LinkFault(link).ok())
        return false;
    if (!WaitUntil(link.clock, link.clock.nowMs() + SerialTiming::kResendDelay, link.cancel()))
        return false;
    return LinkSend(link, block.size()) != 0;
}

// A picture as its file is: a regular file no larger than the block counter
// can number.
bool ReadPictureFile(const std::string& path, std::vector<std::uint8_t>& out) {
    return ReadBoundedFile(path, kPictureBytesMax, out);
}

// The 30 ms timer of a phase. A tick that ran long is followed at once by the
// next, as a pending timer message would be; ticks never bunch up.
class Ticker {
  public:
    Ticker(Clock& clock, const CancelToken* cancel)
        : clock_(clock), cancel_(cancel), next_(clock.nowMs() + TransferTiming::kTick) {}
    void wait() {
        WaitUntil(clock_, next_, cancel_);
        next_ = std::max(next_, clock_.nowMs()) + TransferTiming::kTick;
    }
    // A new timer starts: its first tick is one period away.
    void restart() { next_ = clock_.nowMs() + TransferTiming::kTick; }

  private:
    Clock& clock_;
    const CancelToken* cancel_;
    std::uint64_t next_;
};

}  // namespace

MemoryNeed ComputeMemoryNeed(const TransferJob& job,
                             const std::function<std::uint64_t(const TransferPicture&)>& size) {
    MemoryNeed need;
    need.procedureBytes = WholeBlocks(kHeaderBlockSize) +
                          WholeBlocks(job.records.size() * std::uint64_t{rec::kRecordSize});
    for (const auto& list : job.interrupts)
        need.procedureBytes += WholeBlocks(list.size() * std::uint64_t{rec::kRecordSize});
    for (const TransferPicture& p : job.pictures)
        need.pictureBytes += WholeBlocks(size ? size(p) : 0);
    need.seriesKb = job.seriesKb;
    return need;
}

std::uint64_t SentPictureSize(const TransferPicture& picture, const TransferSettings& settings) {
    if (picture.screen && settings.fastPictures && settings.toScreen)
        return kScreenBufferSize;
    return RegularFileSize(picture.path);
}

bool RefreshMemory(Link& link, InstrumentMemory& memory, MemoryDisplay& display) {
    return ShowInstrumentMemory(link, memory, display) ||
           ShowInstrumentMemory(link, memory, display);
}

int StartChecks(const Link& link, const InstrumentMemory& memory, const MemoryNeed& need) {
    if (link.table[1].present)
        return 78;
    if (need.total() > memory.freeBytes())
        return 82;
    if (need.seriesKb > std::uint64_t{memory.seriesMb} * 1024)
        return 83;
    return 0;
}

std::vector<std::uint8_t> HeaderRequest(std::uint8_t number, const TransferJob& job) {
    std::vector<std::uint8_t> b{'p', 'P', 'H', number};
    b.insert(b.end(), job.header.begin(), job.header.end());
    return b;
}

std::vector<std::uint8_t> ProcedureBlock(std::uint8_t number, std::uint16_t block,
                                         const ComponentRecord& record) {
    std::vector<std::uint8_t> b{'p', 'P', 'D', number, Hi(block), Lo(block), 1};
    b.insert(b.end(), record.bytes.begin(), record.bytes.end());
    return b;
}

std::vector<std::uint8_t> InterruptBlock(std::uint8_t number, int interrupt, std::uint16_t block,
                                         const ComponentRecord& record) {
    std::vector<std::uint8_t> b{
        'p', 'Q', 'D', number, static_cast<std::uint8_t>(interrupt), Hi(block), Lo(block), 1};
    b.insert(b.end(), record.bytes.begin(), record.bytes.end());
    return b;
}

std::uint8_t PictureUnits(std::size_t dataBytes) {
    return dataBytes >= 1024 ? 3 : dataBytes >= 512 ? 2 : 1;
}

namespace {

int FinishFileImpl(Link& link, char kind, std::uint8_t number, int sub, std::uint16_t blocks,
                   bool& cancelled) {
    const CancelToken* cancel = link.cancel();
    auto& tx = link.buf.tx;
    tx[0] = 'p';
    tx[1] = static_cast<std::uint8_t>(kind);
    tx[2] = 'W';
    tx[3] = number;
    std::size_t length = 4;
    if (kind != 'P') {
        tx[4] = static_cast<std::uint8_t>(sub);
        tx[5] = Hi(blocks);
        tx[6] = Lo(blocks);
        length = 7;
    }
    // Only the interrupt variant goes through the bulk path on USB.
    const LinkReply r =
        LinkBlockRequest(link, length, TransferTiming::kFinish, kind == 'Q' ? 1 : 0);

    int code = 0;
    if (Cancelled(cancel)) {
        cancelled = true;
    } else if (!r.answered() || AnswerByte(link, 0) == 255) {
        code = 91;  // not answered, or the instrument could not write
    } else if (AnswerByte(link, 1) == 1) {
        // Still writing: poll until an answer with data byte 0 = 0 comes.
        int left = TransferTiming::kMaxPolls;
        bool done = false;
        // A lost instrument ends the polls at once.
        while (left > 0 && !done && LinkFault(link).ok()) {
            if (!WaitUntil(link.clock, link.clock.nowMs() + TransferTiming::kPollPause, cancel)) {
                cancelled = true;
                break;
            }
            tx[0] = 'p';
            tx[1] = static_cast<std::uint8_t>(kind);
            tx[2] = '?';
            const LinkReply p = LinkBlockRequest(link, 3, TransferTiming::kFinish, 0);
            if (Cancelled(cancel)) {
                cancelled = true;
                break;
            }
            --left;
            done = p.answered() && AnswerByte(link, 0) == 0;
        }
        // Success on the very last poll still counts as a failure (no poll
        // left); kept as the instrument's tools have always behaved.
        if (!cancelled && !(done && AnswerByte(link, 1) == 0 && left > 0))
            code = 91;
    }
    // A lost instrument is final at once: no pause for it.
    if (!cancelled && LinkFault(link).ok())
        link.clock.sleepMs(TransferTiming::kEndWait);
    return code;
}

}  // namespace

int FinishFile(Link& link, char kind, std::uint8_t number, int sub, std::uint16_t blocks) {
    bool cancelled = false;
    return FinishFileImpl(link, kind, number, sub, blocks, cancelled);
}

TransferResult RunTransfer(Link& link, const TransferJob& job, const TransferSettings& settings,
                           TransferObserver& observer) {
    TransferResult result;
    const std::uint8_t number = settings.number;
    const CancelToken* cancel = link.cancel();
    auto stop = [&](int code) {
        result.code = code;
        result.cancelled = code == 0;
        // Nothing is left selected on the instrument: the release goes out
        // even after a Cancel (which must not stop it in turn).
        link.setCancel(nullptr);
        InstrumentRelease(link, 0);
        link.setCancel(cancel);
        return result;
    };

    // Header: no answer at all goes on; a failed request or a refusal stops.
    observer.phase(TransferPhase::kHeader, 0);
    const std::vector<std::uint8_t> header = HeaderRequest(number, job);
    std::copy(header.begin(), header.end(), link.buf.tx.begin());
    LinkReply r = LinkBlockRequest(link, header.size(), TransferTiming::kHeader, 1);
    // A damaged answer on the serial link: the header is asked for once more
    // (the instrument takes a repeated header as the same one).
    if (link.linkKind == kLinkSerial && r.kind == LinkReply::Kind::kCorrupt) {
        std::copy(header.begin(), header.end(), link.buf.tx.begin());
        r = LinkBlockRequest(link, header.size(), TransferTiming::kHeader, 1);
    }
    if (r.kind == LinkReply::Kind::kCorrupt || r.kind == LinkReply::Kind::kNotSent)
        return stop(79);
    if (r.answered() && AnswerByte(link, 0) == 0)
        return stop(101);

    if (Cancelled(cancel))
        return stop(0);

    Ticker ticker(link.clock, cancel);
    bool finishCancelled = false;
    auto finish = [&](char kind, int sub, std::uint16_t blocks) {
        return FinishFileImpl(link, kind, number, sub, blocks, finishCancelled);
    };

    // Procedure phase: one record per tick; the tick that finds no next record
    // closes the file.
    observer.phase(TransferPhase::kProcedure, 0);
    observer.progressRange(static_cast<int>(job.records.size()) + 1);
    observer.progress(0);
    std::uint16_t counter = 1;
    for (std::size_t i = 0;; ++i) {
        ticker.wait();
        if (Cancelled(cancel))
            return stop(0);
        if (i == job.records.size())
            break;
        observer.progress(counter);
        if (!SendBlock(link, ProcedureBlock(number, counter, job.records[i])))
            return stop(Cancelled(cancel) ? 0 : 79);
        ++counter;
        ++result.blocks;
    }
    observer.status("Write PAD -> CF");
    if (const int code = finish('P', 0, 0); code != 0 || finishCancelled)
        return stop(code);

    // Interrupt procedures 1 to 4 that hold records; empty ones are skipped
    // without a request.
    for (int irq = 1; irq <= kInterruptProcedures; ++irq) {
        const auto& list = job.interrupts[static_cast<std::size_t>(irq - 1)];
        if (list.empty())
            continue;
        observer.phase(TransferPhase::kInterrupt, irq);
        observer.progressRange(static_cast<int>(list.size()));
        ticker.restart();
        counter = 1;
        for (std::size_t i = 0;; ++i) {
            ticker.wait();
            if (Cancelled(cancel))
                return stop(0);
            if (i == list.size())
                break;
            observer.progress(counter);
            if (!SendBlock(link, InterruptBlock(number, irq, counter, list[i])))
                return stop(Cancelled(cancel) ? 0 : 79);
            ++counter;
            ++result.blocks;
        }
        char text[32];
        std::snprintf(text, sizeof text, "Write IRQ%d -> CF", irq);
        observer.status(text);
        if (const int code = finish('Q', irq, static_cast<std::uint16_t>(counter - 1));
            code != 0 || finishCancelled)
            return stop(code);
    }

    // Pictures: opened on the tick with counter 1 (again on every tick while
    // the file cannot be opened), then up to 1536 bytes per tick.
    for (std::size_t index = 0; index < job.pictures.size(); ++index) {
        const TransferPicture& picture = job.pictures[index];
        const auto pic = static_cast<std::uint8_t>(index);
        observer.phase(TransferPhase::kPicture, static_cast<int>(index));
        ticker.restart();
        counter = 1;
        std::vector<std::uint8_t> data;
        bool open = false, reported = false;
        std::size_t offset = 0;
        for (;;) {
            ticker.wait();
            if (Cancelled(cancel))
                return stop(0);
            if (!open) {
                const std::string& path = picture.path;
                observer.status(path.size() > 30 ? path.substr(path.size() - 30) : path);
                const bool loaded = picture.screen && settings.fastPictures && settings.toScreen
                                        ? settings.toScreen(path, settings.model, data)
                                        : ReadPictureFile(path, data);
                if (!loaded) {
                    if (!reported)
                        observer.pictureMissing(path);
                    reported = true;
                    continue;
                }
                open = true;
                observer.progressRange(static_cast<int>((data.size() + 511) / 512));
            }
            const std::size_t n = std::min(kPictureBlockMax, data.size() - offset);
            if (n == 0)
                break;
            const std::uint8_t units = PictureUnits(n);
            observer.progress(counter);
            std::vector<std::uint8_t> block{'p', 'B',         'D',         number,
                                            pic, Hi(counter), Lo(counter), units};
            block.insert(block.end(), data.begin() + static_cast<std::ptrdiff_t>(offset),
                         data.begin() + static_cast<std::ptrdiff_t>(offset + n));
            if (!SendBlock(link, block))
                return stop(Cancelled(cancel) ? 0 : 79);
            offset += n;
            counter = static_cast<std::uint16_t>(counter + units);
            ++result.blocks;
        }
        observer.status("Write BMP -> CF");
        if (const int code = finish('B', pic, counter); code != 0 || finishCancelled)
            return stop(code);
        result.picturesSent = static_cast<int>(index) + 1;
    }
    if (!job.pictures.empty()) {
        observer.progress(1);
        observer.status(std::to_string(result.picturesSent));
    }
    observer.phase(TransferPhase::kDone, 0);
    return result;
}

}  // namespace quelvari::link

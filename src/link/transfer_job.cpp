#include "link/transfer_job.h"

#include <sys/stat.h>

#include <cstring>

#include "link/instrument.h"
#include "link/link_files.h"
#include "model/numbers.h"
#include "model/record_reader.h"

namespace quelvari::link {

namespace {

// The picture component: type 'p', output medium at 90 ('D' screen), file
// path at 112.
constexpr std::uint8_t kPictureType = 'p';
constexpr std::size_t kPictureMedium = 90;
constexpr std::size_t kPictureFile = 112;
constexpr std::size_t kPictureFileSize = 260;

std::uint16_t Le16(const std::vector<std::uint8_t>& b, std::size_t at) {
    return GetLe16(b.data() + at);
}
std::uint32_t Le32(const std::vector<std::uint8_t>& b, std::size_t at) {
    return GetLe32(b.data() + at);
}

// Modification time in nanoseconds, or -1 when the file is missing.
long long ModifiedNs(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0)
        return -1;
    return static_cast<long long>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec;
}

std::string CutAtZero(const char* p, std::size_t max) {
    return std::string(p, strnlen(p, max));
}

}  // namespace

int ModelArgument(std::uint16_t model) {
    return model == kModel6410 ? 1 : model == kModel3320 ? 2 : -1;
}

int PrepareTransferJob(const std::string& padPath, int modelArgument, TransferJob& job) {
    job = TransferJob{};
    if (modelArgument != 1 && modelArgument != 2)
        return 75;
    const int missing = modelArgument == 1 ? 90 : 75;

    RecordFile pad;
    if (!readRecordFile(padPath, pad).ok())
        return 72;
    if (pad.oldFormat)
        return 85;

    // The system file of an error-free check for this model, newer than the
    // procedure.
    const std::string sysPath = SystemFilePath(padPath);
    std::vector<std::uint8_t> sys;
    if (!ReadBoundedFile(sysPath, kSystemBlockSize, sys))
        return missing;
    const long long sysTime = ModifiedNs(sysPath);
    if (sys.size() != kSystemBlockSize || Le32(sys, sysblk::kVersion) != kSystemBlockVersion ||
        sysTime < ModifiedNs(padPath))
        return missing;
    const std::uint16_t wanted = modelArgument == 1 ? kCheckPv6410 : kCheckPv3320;
    if (Le16(sys, sysblk::kMode) != wanted)
        return 75;

    std::copy(sys.begin(), sys.begin() + kHeaderBlockSize, job.header.begin());
    job.records = std::move(pad.records);
    job.seriesKb = (Le32(sys, sysblk::kMeasureBytes) + 1023) / 1024;

    // The interrupt procedures the check went through, beside the procedure.
    const std::uint16_t word = Le16(sys, sysblk::kInterrupts);
    const std::string stem = padPath.substr(0, padPath.size() - 4);
    for (int n = 1; n <= kInterruptProcedures; ++n) {
        if (((word >> (2 * (n - 1))) & 3) != 3)
            continue;
        const std::string path = stem + ".IR" + std::to_string(n);
        RecordFile ir;
        if (!readRecordFile(path, ir).ok())
            continue;  // a missing routine was a finding of the check
        if (ir.oldFormat)
            return 86;
        if (ModifiedNs(path) > sysTime)
            return missing;
        // An empty file reads as one empty record: nothing to send.
        if (ir.records.size() == 1 && ir.records[0].typeCode() == 0)
            continue;
        job.interrupts[static_cast<std::size_t>(n - 1)] = std::move(ir.records);
    }

    // The pictures in the order of the check; a picture shown on the screen
    // by some component goes in the screen format.
    const int pictures = std::min<int>(Le16(sys, sysblk::kPictureCount), kMaxPictures);
    for (int i = 0; i < pictures; ++i) {
        const char* entry = reinterpret_cast<const char*>(sys.data()) + sysblk::kPictures +
                            sysblk::kPictureEntry * static_cast<std::size_t>(i);
        TransferPicture p;
        p.path = CutAtZero(entry, sysblk::kPictureEntry);
        if (p.path.empty())
            break;
        for (const ComponentRecord& r : job.records)
            if (r.typeCode() == kPictureType && r.u8(kPictureMedium) == 'D' &&
                r.text(kPictureFile, kPictureFileSize) == p.path)
                p.screen = true;
        job.pictures.push_back(std::move(p));
    }
    return 0;
}

std::vector<std::uint8_t> ScreenPreset(std::uint16_t model) {
    std::vector<std::uint8_t> screen(kScreenBufferSize, 0xFF);
    if (model != kModel6410)
        for (std::size_t i = 0; i < screen.size(); i += 2) {
            screen[i] = 0xDE;
            screen[i + 1] = 0x7B;
        }
    return screen;
}

std::vector<std::uint8_t> PackScreen(std::uint16_t model, int width, int height,
                                     const std::uint8_t* rgb, std::size_t stride) {
    std::vector<std::uint8_t> screen = ScreenPreset(model);
    const int w = std::min(width, kScreenWidth);
    const int h = std::min(height, kScreenHeight);
    for (int y = 0; y < h; ++y) {
        const std::uint8_t* row = rgb + stride * static_cast<std::size_t>(y);
        for (int x = 0; x < w; ++x) {
            const std::uint8_t* px = row + 3 * static_cast<std::size_t>(x);
            const auto v =
                static_cast<std::uint16_t>((px[0] >> 3) << 11 | (px[1] >> 2) << 5 | px[2] >> 3);
            const std::size_t at =
                2 * (static_cast<std::size_t>(y) * kScreenWidth + static_cast<std::size_t>(x));
            screen[at] = static_cast<std::uint8_t>(v);
            screen[at + 1] = static_cast<std::uint8_t>(v >> 8);
        }
    }
    return screen;
}

}  // namespace quelvari::link

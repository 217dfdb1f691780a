#include "check/syntax_test.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <unordered_map>

#include "check/check_support.h"
#include "components/condition.h"
#include "components/layouts.h"
#include "components/view.h"
#include "model/file_io.h"
#include "model/numbers.h"
#include "model/procedure.h"
#include "model/procedure_file.h"
#include "model/record.h"
#include "model/record_reader.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari {

namespace {

// Texts of the protocol.
constexpr int kTextModeTarvisel = 3141;
constexpr int kTextModeLumo = 3142;
constexpr int kTextModePv6410 = 3143;
constexpr int kTextModePv3320 = 3164;
constexpr int kTextProtocol = 3144;
constexpr int kTextOk = 3145;
constexpr int kTextPictureFiles = 3146;
constexpr int kTextInterbusConfig = 3147;
constexpr int kTextOutputsAnalog = 3148;
constexpr int kTextOutputsDigital = 3149;
constexpr int kTextInputsAnalog = 3150;
constexpr int kTextMemoryPv6410 = 3151;
constexpr int kTextProcedureSize = 3152;
constexpr int kTextPictures = 3153;
constexpr int kTextMeasure = 3154;
constexpr int kTextDatabase = 3155;
constexpr int kTextErrors = 3156;
constexpr int kTextDirectory = 3157;
constexpr int kTextInputsDigital = 3158;
constexpr int kTextInstrumentConfig = 3159;
constexpr int kTextMemoryPv3320 = 3165;
constexpr int kTextSections = 3186;

// Findings (text ids of the text tables). A new finding also goes into
// SyntaxFindingTextIds, through which the text check sees it.
enum Finding : int {
    kGraphicInInterrupt = 8001,
    kInterruptInInterrupt = 8002,
    kProtocolInInterrupt = 8003,
    kTimeInInterrupt = 8004,
    kRoutineAlreadyActive = 8005,
    kRoutineNotActive = 8006,
    kRoutineLeftActive = 8007,
    kInterruptFileMissing = 8008,
    kMemoryNotTransferredYet = 8009,
    kTransferWithoutMemory = 8010,
    kMemoryNotTransferred = 8011,
    kMeasuringForbiddenInInterrupt = 8013,
    kTooManyChannels = 8014,
    kReferenceMissing = 8015,
    kGotoMissing = 8019,
    kBargraphInInterrupt = 8021,
    kDbaseFiles = 8022,
    kDbaseInInterrupt = 8024,
    kModuleMissing = 8025,
    kModuleInInterrupt = 8026,
    kTooManyModules = 8027,
    kInterruptInModule = 8028,
    kLastWithCondition = 8029,
    kModuleNotRegistered = 8030,
    kModuleLastWithCondition = 8031,
    kLastIsModule = 8032,
    kBreakInModule = 8033,
    kOtherReference = 8034,
    kInterbusCycleFirst = 8035,
    kInterbusInitialisedTwice = 8036,
    kInterbusNotReset = 8037,
    kInterbusWithControl = 8038,
    kPictureMissing = 8042,
    kJpegOnPv6410 = 8043,
    kPictureInInterrupt = 8045,
    kPictureUnreadable = 8048,
    kPictureTooLarge = 8049,
    kTooManyPictures = 8050,
    kExternalOnInstrument = 8052,
    kInterruptTooLong = 8053,
    kTransferCommand = 8056,
    kBitmapColoursPv6410 = 8057,
    kPictureMissingWarning = 8058,
    kOldFormat = 8059,
    kSensorOutsideInstrument = 8062,
    kBitmapColoursPv3320 = 8064,
    kIntervalTooLong = 8065,
    kOnlineGraphicInInterrupt = 8068,
    kOnlineGraphicOnInstrument = 8069,
    kTooManyVariables = 8070,
    kOptionsOutsidePc = 8077,
    kTestSelectionTwice = 8078,
    kSectionNameTwice = 8083,
    kFirstSectionCount = 8084,
    kLastSectionCount = 8085,
    kTooManySections = 8086,
    kRatedValueWarning = 8090,
};

constexpr int kMaxDbaseFiles = 12;

__attribute__((format(printf, 1, 2))) std::string format(const char* fmt, ...) {
    char buf[512];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(buf, sizeof buf, fmt, args);
    va_end(args);
    return buf;
}

std::string text(int id) {
    return GetLangText(static_cast<std::uint32_t>(id));
}

// The records of one file as the checks walk them: from disk, or from the
// procedure list in memory.
class RecordSource {
  public:
    virtual ~RecordSource() = default;
    virtual bool oldFormat() const = 0;
    // How many records the walk will give (known before the walk, so that a
    // step reference can be judged at its component).
    virtual std::size_t count() const = 0;
    // The next record, or null at the end; valid until the next call.
    virtual const ComponentRecord* next() = 0;
    // After next() gave null: the last record (every file has one).
    virtual const ComponentRecord& last() const = 0;
    // Not ok when the records could not be read to the end.
    virtual Status status() const = 0;
};

class FileSource : public RecordSource {
  public:
    Status open(const std::string& path) {
        if (Status s = reader_.open(path); !s.ok())
            return s;
        struct stat st {};
        const std::size_t size = ::stat(path.c_str(), &st) == 0 && st.st_size > 0
                                     ? static_cast<std::size_t>(st.st_size)
                                     : 0;
        const std::size_t step = reader_.oldFormat() ? kOldRecordSize : rec::kRecordSize;
        count_ = std::clamp<std::size_t>(size / step, 1, kMaxProcedureSteps);
        return {};
    }
    bool oldFormat() const override { return reader_.oldFormat(); }
    std::size_t count() const override { return count_; }
    const ComponentRecord* next() override { return reader_.next(); }
    const ComponentRecord& last() const override { return reader_.last(); }
    Status status() const override { return reader_.status(); }

  private:
    RecordReader reader_;
    std::size_t count_ = 1;
};

class ListSource : public RecordSource {
  public:
    explicit ListSource(const ProcedureList& list) : list_(list) {}
    bool oldFormat() const override { return list_.oldFormat != 0; }
    std::size_t count() const override { return list_.nodeCount(); }
    const ComponentRecord* next() override {
        node_ = started_ ? (node_ ? node_->next : nullptr) : &list_.procedureHead;
        started_ = true;
        if (node_)
            last_ = node_;
        return node_ ? &node_->record : nullptr;
    }
    const ComponentRecord& last() const override { return last_->record; }
    Status status() const override { return {}; }

  private:
    const ProcedureList& list_;
    const ComponentNode* node_ = nullptr;
    const ComponentNode* last_ = &list_.procedureHead;
    bool started_ = false;
};

struct Module {
    std::string name;
    std::string path;
    bool readable = false;
};

// What the rules after the last component need of a file.
struct FileWalk {
    std::size_t count = 0;
    std::vector<std::pair<int, std::uint16_t>> branches;  // step, goto target
};

struct Section {
    int step = 0;
    std::string name;
};

struct Channel {
    std::uint8_t first = 0, second = 0, number = 0;
};

class SyntaxTest {
  public:
    SyntaxTest(const std::string& path, std::uint16_t mode) : path_(path), mode_(mode) {
        block_.fill(0);
        putU32(sysblk::kVersion, kSystemBlockVersion);
        putU16(sysblk::kMode, mode);
        result_.checkMode = mode;
        if (path.empty())
            return;  // a procedure never saved: no name, no directory
        // The protocol names the directory the procedure lives in, also when
        // it was given relative to the current one, and modules are looked
        // up there.
        std::error_code ec;
        std::string full = std::filesystem::absolute(path, ec).lexically_normal().string();
        if (ec || full.empty())
            full = path;
        const std::size_t cut = full.find_last_of('/');
        if (cut == std::string::npos) {
            name_ = full;
        } else {
            directory_ = cut == 0 ? "/" : full.substr(0, cut);
            name_ = full.substr(cut + 1);
        }
        stem_ = full.size() >= 4 ? full.substr(0, full.size() - 4) : full;
    }

    SyntaxTestResult runOnFile() {
        head();
        FileSource pad;
        if (Status s = pad.open(path_); !s.ok()) {
            result_.fileError = s;
            return done();
        }
        runStages(pad);
        // A file that could not be read to its end was not checked: no
        // verdict and no system file.
        if (!readError_.ok()) {
            result_.fileError = readError_;
            return done();
        }
        if (result_.errorCount == 0)
            writeSystemFile();
        return done();
    }

    SyntaxTestResult runInMemory(const ProcedureList& list) {
        head();
        ListSource pad(list);
        if (IsModuleFileName(path_))
            checkOpenModule(list, pad);
        else
            runStages(pad);
        if (!readError_.ok())
            result_.fileError = readError_;
        return done();
    }

  private:
    void runStages(RecordSource& pad) {
        checkProcedure(pad);
        checkModules();
        checkInterruptProcedures();
        if (result_.errorCount == 0)
            fillSummary();
    }

    SyntaxTestResult done() {
        result_.lines = RenderProtocol(result_);
        return std::move(result_);
    }

    // ---- Findings ----------------------------------------------------------

    void beginListing(CheckedFileKind kind, int interrupt, std::string name, std::string path) {
        result_.files.push_back({kind, interrupt, std::move(name), std::move(path)});
    }

    // One finding, labelled with the current file and step and carrying the
    // detail text a check left.
    void addFinding(int textId) {
        SyntaxFinding f;
        f.textId = textId;
        f.file = result_.files.empty() ? 0 : result_.files.size() - 1;
        f.step = step_;
        f.detail = std::move(detail_);
        detail_.clear();
        f.counted = textId != kPictureMissingWarning && textId != kRatedValueWarning;
        if (textId == kDbaseFiles)
            f.figure = dbaseFiles_;
        if (f.counted) {
            // Deliberately 8 bits wide: the count the program acts on wraps
            // after 255. The true count is kept beside it.
            ++result_.errorCount;
            ++result_.countedFindings;
        }
        result_.findings.push_back(std::move(f));
    }

    void give(int textId) {
        if (textId != 0)
            addFinding(textId);
        else
            detail_.clear();
    }

    void head() {
        result_.procedureName = name_;
        result_.directory = directory_;
    }

    // ---- Stages ------------------------------------------------------------

    void checkProcedure(RecordSource& pad) {
        beginListing(CheckedFileKind::Procedure, 0, name_, path_);
        beginFile(pad);
        FileWalk walk;
        while (const ComponentRecord* record = pad.next()) {
            const ComponentRecord& r = *record;
            noteRecord(r, walk);
            give(checkVariables(r));
            give(checkInterrupt(r));
            give(checkMeasuring(r));
            give(checkReference(r));
            give(checkOnlineGraphic(r));
            give(checkModuleCount(r, true));
            give(checkBreak(r));
            give(checkInterbus(r, true));
            give(checkPicture(r));
            give(checkCommand(r));
            give(checkOldFormat());
            give(checkSensor(r));
            give(checkSections(r));
            give(procedureRules(r));
        }
        noteReadError(pad);
        fileRules(walk, pad.last(), false);
        if (firstSections_ + middleSections_ + lastSections_ > 0) {
            if (firstSections_ != 1)
                addFinding(kFirstSectionCount);
            if (lastSections_ != 1)
                addFinding(kLastSectionCount);
        }
        // Modules whose file cannot be opened; stage 2 reads the others.
        for (const auto& [step, index] : moduleCalls_) {
            Module& m = modules_[index];
            if (!m.readable) {
                detail_ = m.path;
                addFinding(kModuleMissing);
            }
        }
    }

    void checkModules() {
        for (Module& m : modules_) {
            beginListing(CheckedFileKind::Module, 0, m.name + ".PAM", m.path);
            FileSource reader;
            if (!m.readable || !reader.open(m.path).ok())
                continue;  // listed as missing under the procedure
            checkModuleRecords(reader);
        }
    }

    // The module rules on one module's records.
    void checkModuleRecords(RecordSource& reader) {
        beginFile(reader);
        FileWalk walk;
        std::vector<std::size_t> missingCalls;
        while (const ComponentRecord* record = reader.next()) {
            const ComponentRecord& r = *record;
            noteRecord(r, walk);
            give(moduleTypeRule(r, missingCalls));
            give(checkMeasuring(r));
            give(checkReference(r));
            give(checkModuleCount(r, false));
            give(checkInterbus(r, false));
            give(checkPicture(r));
        }
        noteReadError(reader);
        fileRules(walk, reader.last(), true);
        for (std::size_t index : missingCalls) {
            detail_ = modules_[index].path;
            addFinding(kModuleMissing);
        }
    }

    // A module open in the editor is checked as the syntax test checks it
    // when a procedure calls it: the module rules, with the modules it calls
    // counted as registered (the calling procedure would register them),
    // then those modules from beside it.
    void checkOpenModule(const ProcedureList& list, RecordSource& pad) {
        ListSource calls(list);
        while (const ComponentRecord* r = calls.next())
            if (r->typeCode() == 'U')
                moduleIndex(moduleName(*r), true);
        beginListing(CheckedFileKind::Module, 0, name_, path_);
        checkModuleRecords(pad);
        checkModules();
        if (result_.errorCount == 0)
            fillSummary();
    }

    void checkInterruptProcedures() {
        const std::uint16_t word = getU16(sysblk::kInterrupts);
        for (int n = 1; n <= 4; ++n) {
            if (((word >> (2 * (n - 1))) & 3) != 3)
                continue;
            const std::string irPath = stem_ + ".IR" + std::to_string(n);
            beginListing(CheckedFileKind::Interrupt, n, baseName(irPath), irPath);
            FileSource reader;
            if (stem_.empty() || !reader.open(irPath).ok()) {
                detail_ = irPath;
                addFinding(kInterruptFileMissing);
                continue;
            }
            beginFile(reader);
            FileWalk walk;
            while (const ComponentRecord* record = reader.next()) {
                const ComponentRecord& r = *record;
                noteRecord(r, walk);
                give(interruptTypeRule(r));
                give(checkVariables(r));
                give(interruptMeasuringRule(r));
                give(checkInterbus(r, false));
                give(checkOldFormat());
            }
            noteReadError(reader);
            if (walk.count > static_cast<std::size_t>(kMaxInterruptComponents)) {
                step_ = static_cast<int>(walk.count);
                addFinding(kInterruptTooLong);
            }
        }
    }

    void writeSystemFile() {
        result_.systemFilePath = SystemFilePath(path_);
        const Status written =
            WriteFileAtomically(result_.systemFilePath, block_.data(), block_.size());
        result_.systemFileWritten = written.ok();
        if (!written.ok())
            result_.fileError = written;
    }

    void fillSummary() {
        fillSystemBlock();
        SyntaxSummary& s = result_.summary;
        s.pictures = pictureOrder_;
        s.procedureBytes = recordsRead_ * rec::kRecordSize;
        s.pictureBytes = pictureBytes_;
        s.measureBytes = measureBytes_;
        s.databaseBytes = databaseBytes_;
        for (const Channel& c : channels_) {
            std::string name(1, static_cast<char>(c.first));
            if (c.second != 0)
                name += static_cast<char>(c.second);
            s.channels.push_back(name + std::to_string(c.number));
        }
        for (const Section& sec : sections_)
            s.sections.push_back({sec.step, sec.name});
    }

    // ---- Component checks (each returns 0 or a finding) ------------------

    // 1: more than 96 variables of the classes Z, W, S and B (instruments).
    int checkVariables(const ComponentRecord& r) {
        for (const std::string& c : {r.inputCondition(), r.branchCondition()})
            for (const ConditionVariable& v : ConditionVariables(c))
                noteVariable(static_cast<std::uint8_t>(v.letter), v.number);
        switch (r.typeCode()) {
            case 'u':
                noteVariable(r.u8(layout::brk::kReferenceLetter),
                             r.u8(layout::brk::kReferenceNumber));
                noteVariable(r.u8(layout::brk::kRegistrationLetter),
                             r.u8(layout::brk::kRegistrationNumber));
                break;
            case 'C':
                if (r.u8(layout::section::kKind) == 0)
                    noteVariable(r.u8(layout::section::kReferenceLetter),
                                 r.u8(layout::section::kReferenceNumber));
                noteVariable(r.u8(layout::section::kIdentLetter),
                             r.u8(layout::section::kIdentNumber));
                break;
            case 'M':
                noteVariable(r.u8(layout::measuring::kTriggerLetter),
                             r.u8(layout::measuring::kTriggerNumber));
                noteVariable(r.u8(layout::measuring::kTrigger2Letter),
                             r.u8(layout::measuring::kTrigger2Number));
                if (r.u8(layout::measuring::kVariables) == '@')  // list held in string variable Sn
                    noteVariable('S', r.u8(layout::measuring::kVariables + 1));
                break;
            default:
                break;
        }
        if (isInstrumentMode(mode_) && variableCount_ > kMaxVariables && !variablesReported_) {
            variablesReported_ = true;
            return kTooManyVariables;
        }
        return 0;
    }

    // 3: interrupt component: enabling an active routine, disabling an idle
    // one, enabling an external routine on an instrument, a millisecond
    // interval above 5000. Also records the routines for stage 3.
    int checkInterrupt(const ComponentRecord& r) {
        if (r.typeCode() != 'I')
            return 0;
        int finding = 0;
        auto note = [&](int id) {
            if (finding == 0)
                finding = id;
        };
        std::uint16_t word = getU16(sysblk::kInterrupts);
        for (int k = 0; k < 4; ++k) {
            const std::size_t e =
                layout::interrupt::kFirstEntry + layout::interrupt::kEntryStride * k;
            const std::uint8_t state = r.u8(e + layout::interrupt::kState);
            const std::uint8_t kind = r.u8(e + layout::interrupt::kKind);
            if (state == 1) {
                if (routineActive_[k])
                    note(kRoutineAlreadyActive);
                if (kind == 'C' && isInstrumentMode(mode_))
                    note(kExternalOnInstrument);
                if (r.u8(e + layout::interrupt::kTimeBase) == 0 &&
                    r.u16(e + layout::interrupt::kTime) > kMaxInterruptMs)
                    note(kIntervalTooLong);
                word |= static_cast<std::uint16_t>(kInterruptEnabled << (2 * k));
                if (kind == 'B')
                    word |= static_cast<std::uint16_t>(kInterruptComponentRoutine << (2 * k));
            } else if (state == 2 && !routineActive_[k]) {
                note(kRoutineNotActive);
            }
        }
        putU16(sysblk::kInterrupts, word);
        noteRoutineStates(r);
        return finding;
    }

    // 4: measuring component: a memory measurement while the memory still
    // holds one not transferred, a transfer with nothing in memory, more than
    // 36 channels measured.
    int checkMeasuring(const ComponentRecord& r) {
        if (r.typeCode() != 'M')
            return 0;
        const int entries = noteChannels(r);
        const std::uint8_t mode = r.u8(layout::measuring::kMode);
        // The component that brings the 37th channel is told so first; the
        // memory state below still follows it.
        int finding = 0;
        if (channelsOver_ && !channelsReported_) {
            channelsReported_ = true;
            finding = kTooManyChannels;
        }
        auto note = [&](int id) {
            if (finding == 0)
                finding = id;
        };
        if (mode == 'S') {
            if (memoryPending_)
                note(kMemoryNotTransferredYet);
            memoryPending_ = true;
            measureBytes_ +=
                static_cast<std::uint64_t>(r.u32(layout::measuring::kCount)) * entries * 4;
        } else if (mode == 'T') {
            if (!memoryPending_)
                note(kTransferWithoutMemory);
            memoryPending_ = false;
        }
        return finding;
    }

    // 10: more than 32 module components; the procedure's calls name the
    // modules of stage 2.
    int checkModuleCount(const ComponentRecord& r, bool procedure) {
        if (r.typeCode() != 'U')
            return 0;
        if (procedure)
            moduleCalls_.emplace_back(step_, moduleIndex(moduleName(r), true));
        if (++moduleComponents_ > kMaxModuleComponents && !modulesReported_) {
            modulesReported_ = true;
            return kTooManyModules;
        }
        return 0;
    }

    // 11: break components with another reference variable than the first.
    int checkBreak(const ComponentRecord& r) {
        if (r.typeCode() != 'u')
            return 0;
        return compareReference(r.u8(layout::brk::kReferenceLetter),
                                r.u8(layout::brk::kReferenceNumber));
    }

    // 6: a component that names another step by number (graphic, text
    // print, statistic; the references renumbering keeps current) needs
    // that step to exist in its file.
    int checkReference(const ComponentRecord& r) const {
        int step = 0;
        if (!StepReference(r, step))
            return 0;
        // 0 (and a negative statistic reference) names no step: a new
        // component starts so and must not be a finding the user cannot mend.
        return step > 0 && static_cast<std::size_t>(step) > stepsInFile_ ? kReferenceMissing : 0;
    }

    // 7: online graphic component, which the instruments cannot show. Its
    // curve count waits for the component's layout.
    int checkOnlineGraphic(const ComponentRecord& r) const {
        return r.typeCode() == 'g' && isInstrumentMode(mode_) ? kOnlineGraphicOnInstrument : 0;
    }

    // 12: Interbus-S component. Its channel findings wait for the component's
    // layout. In the procedure the function byte is followed in step order: a
    // cycle needs an initialisation before it, a second initialisation needs a
    // reset in between. A module or an interrupt procedure runs at a point
    // where that state is not known, so only its use is noted there.
    int checkInterbus(const ComponentRecord& r, bool procedure) {
        if (r.typeCode() != 'i')
            return 0;
        interbusUsed_ = true;
        if (!procedure)
            return 0;
        int finding = 0;
        switch (r.u8(layout::interbus::kFunction)) {
            case layout::interbus::kCycle:
                if (!interbusOpen_)
                    finding = kInterbusCycleFirst;
                break;
            case layout::interbus::kInitialise:
                if (interbusOpen_)
                    finding = kInterbusInitialisedTwice;
                interbusOpen_ = true;
                break;
            case layout::interbus::kReset:
                interbusOpen_ = false;
                break;
            default:
                break;
        }
        return finding;
    }

    // 13: picture component.
    int checkPicture(const ComponentRecord& r) {
        if (r.typeCode() != 'p')
            return 0;
        const std::string file = r.text(layout::picture::kFile, layout::picture::kFileSize);
        auto [it, isNew] = pictures_.try_emplace(file);
        if (isNew) {
            it->second = ProbePicture(file);
            pictureOrder_.push_back(file);
            pictureBytes_ += static_cast<std::uint64_t>(it->second.size);
        }
        const PictureInfo& info = it->second;
        detail_ = file;
        if (isNew && pictures_.size() > static_cast<std::size_t>(kMaxPictures) &&
            !picturesReported_) {
            picturesReported_ = true;
            return kTooManyPictures;
        }
        if (!info.found)
            return isInstrumentMode(mode_) ? kPictureMissing : kPictureMissingWarning;
        // The extension of the file name itself: a dot in a directory name
        // does not make one.
        const std::string leaf = baseName(file);
        const std::size_t dot = leaf.find_last_of('.');
        const bool jpegName = dot != std::string::npos && dot + 1 < leaf.size() &&
                              (leaf[dot + 1] == 'J' || leaf[dot + 1] == 'j');
        if (mode_ == kCheckPv6410 && jpegName)
            return kJpegOnPv6410;
        if (mode_ == kCheckPv6410 && info.size > kMaxPictureBytesPv6410)
            return kPictureTooLarge;
        if (info.bitmap && info.bitsPerPixel > kMaxBitsPerPixel) {
            if (mode_ == kCheckPv6410)
                return kBitmapColoursPv6410;
            if (mode_ == kCheckPv3320)
                return kBitmapColoursPv3320;
        }
        if (!info.bitmap && !info.jpeg)
            return kPictureUnreadable;
        detail_.clear();
        return 0;
    }

    // 14: a transfer command of the runtime's memory in a form it cannot take.
    int checkCommand(const ComponentRecord& r) {
        if (r.typeCode() != 'D')
            return 0;
        for (int i = 0; i < static_cast<int>(layout::command::kLineCount); ++i) {
            const std::string line =
                r.text(layout::command::kFirstLine + layout::command::kLineStride * i,
                       layout::command::kLineStride);
            bool wellFormed = true;
            if (IsTransferCommand(line, wellFormed) && !wellFormed) {
                detail_ = line;
                return kTransferCommand;
            }
        }
        return 0;
    }

    // 15: the file was written in the old record format (told once, at step 1).
    int checkOldFormat() const { return fileOld_ && step_ == 1 ? kOldFormat : 0; }

    // 16: sensor component, which only the instruments have. Its channel and
    // range findings wait for the component's layout.
    int checkSensor(const ComponentRecord& r) const {
        return r.typeCode() == 's' && !isInstrumentMode(mode_) ? kSensorOutsideInstrument : 0;
    }

    // 19: a second test selection component; section components: more than
    // 100, a name used before, a first section whose reference variable is
    // not the break components' one.
    int checkSections(const ComponentRecord& r) {
        if (r.typeCode() == 'a')
            return ++testSelections_ > 1 ? kTestSelectionTwice : 0;
        if (r.typeCode() != 'C')
            return 0;
        const std::uint8_t kind = r.u8(layout::section::kKind);
        const std::string name = r.text(layout::section::kName, layout::section::kNameSize);
        bool nameUsed = false;
        for (const Section& s : sections_)
            nameUsed = nameUsed || s.name == name;
        if (sections_.size() < static_cast<std::size_t>(kMaxSections)) {
            const std::size_t at = sysblk::kSections + sysblk::kSectionEntry * sections_.size();
            putU16(at, static_cast<std::uint16_t>(step_));
            block_[at + 2] = kind;
            std::memcpy(&block_[at + 3], name.data(), std::min<std::size_t>(name.size(), 40));
        }
        sections_.push_back({step_, name});
        if (kind == 0)
            ++firstSections_;
        else if (kind == 2)
            ++lastSections_;
        else
            ++middleSections_;
        if (sections_.size() > static_cast<std::size_t>(kMaxSections) && !sectionsReported_) {
            sectionsReported_ = true;
            return kTooManySections;
        }
        if (nameUsed) {
            detail_ = name;
            return kSectionNameTwice;
        }
        if (kind == 0)
            return compareReference(r.u8(layout::section::kReferenceLetter),
                                    r.u8(layout::section::kReferenceNumber));
        return 0;
    }

    // The driver's own findings per component of the procedure: the options
    // component outside the PC runtime, Interbus-S together with a control
    // component.
    int procedureRules(const ComponentRecord& r) {
        if (r.typeCode() == 'O' && mode_ != kCheckTarvisel)
            return kOptionsOutsidePc;
        if (r.typeCode() == 'S')
            controlUsed_ = true;
        if (interbusUsed_ && controlUsed_ && !interbusControlReported_) {
            interbusControlReported_ = true;
            return kInterbusWithControl;
        }
        return 0;
    }

    // Types a module may not hold, and calls of modules the procedure does
    // not name.
    int moduleTypeRule(const ComponentRecord& r, std::vector<std::size_t>& missingCalls) {
        noteRoutineStates(r);
        switch (r.typeCode()) {
            case 'I':
                return kInterruptInModule;
            case 'u':
                return kBreakInModule;
            case 'U': {
                const std::string name = moduleName(r);
                const std::size_t index = moduleIndex(name, false);
                if (index == kNoModule) {
                    detail_ = name;
                    return kModuleNotRegistered;
                }
                if (!modules_[index].readable)
                    missingCalls.push_back(index);
                return 0;
            }
            default:
                return 0;
        }
    }

    // Types an interrupt procedure may not hold.
    static int interruptTypeRule(const ComponentRecord& r) {
        switch (r.typeCode()) {
            case 'G':
                return kGraphicInInterrupt;
            case 'I':
                return kInterruptInInterrupt;
            case 'P':
                return kProtocolInInterrupt;
            case 'Z':
                return kTimeInInterrupt;
            case 'b':
                return kBargraphInInterrupt;
            case 'd':
                return kDbaseInInterrupt;
            case 'U':
                return kModuleInInterrupt;
            case 'p':
                return kPictureInInterrupt;
            case 'g':
                return kOnlineGraphicInInterrupt;
            default:
                return 0;
        }
    }

    // A measuring component in an interrupt procedure may not use the
    // instrument memory: neither save in it nor transfer it.
    int interruptMeasuringRule(const ComponentRecord& r) {
        if (r.typeCode() != 'M')
            return 0;
        noteChannels(r);
        if (channelsOver_ && !channelsReported_) {
            channelsReported_ = true;
            return kTooManyChannels;
        }
        const std::uint8_t mode = r.u8(layout::measuring::kMode);
        if (mode == 'S' || mode == 'T')
            return kMeasuringForbiddenInInterrupt;
        return 0;
    }

    // The rules after the last component of the procedure or of a module.
    void fileRules(const FileWalk& walk, const ComponentRecord& last, bool module) {
        for (const auto& [step, target] : walk.branches) {
            if (target == 0 || target > walk.count) {
                step_ = step;
                addFinding(kGotoMissing);
            }
        }
        step_ = static_cast<int>(walk.count);
        if (!last.inputCondition().empty() || last.hasBranch())
            addFinding(module ? kModuleLastWithCondition : kLastWithCondition);
        if (last.typeCode() == 'U')
            addFinding(kLastIsModule);
        if (!module && interbusOpen_)
            addFinding(kInterbusNotReset);
        if (routineActive_.any())
            addFinding(kRoutineLeftActive);
        if (memoryPending_)
            addFinding(kMemoryNotTransferred);
    }

    // ---- State helpers ----------------------------------------------------

    void noteReadError(const RecordSource& source) {
        if (readError_.ok())
            readError_ = source.status();
    }

    void beginFile(const RecordSource& source) {
        fileOld_ = source.oldFormat();
        stepsInFile_ = source.count();
        routineActive_.reset();
        memoryPending_ = false;
    }

    // Step number, record count and branch targets of the file being walked.
    void noteRecord(const ComponentRecord& r, FileWalk& walk) {
        step_ = static_cast<int>(++walk.count);
        ++recordsRead_;
        if (r.hasBranch())
            walk.branches.emplace_back(step_, r.gotoTarget());
    }

    void noteRoutineStates(const ComponentRecord& r) {
        if (r.typeCode() != 'I')
            return;
        for (int k = 0; k < 4; ++k) {
            const std::uint8_t state =
                r.u8(layout::interrupt::kFirstEntry + layout::interrupt::kEntryStride * k +
                     layout::interrupt::kState);
            if (state == 1)
                routineActive_.set(k);
            else if (state == 2)
                routineActive_.reset(k);
        }
    }

    void noteVariable(std::uint8_t letter, int number) {
        int cls = 0;
        switch (letter) {
            case 'Z':
                cls = 0;
                break;
            case 'W':
                cls = 1;
                break;
            case 'S':
                cls = 2;
                break;
            case 'B':
                cls = 3;
                break;
            default:
                return;
        }
        if (number < 0 || number > 255)
            return;
        const std::size_t bit = static_cast<std::size_t>(cls * 256 + number);
        if (!variables_.test(bit)) {
            variables_.set(bit);
            ++variableCount_;
        }
    }

    // Adds the measured variables of a measuring component to the channels
    // and returns how many entries its list holds.
    int noteChannels(const ComponentRecord& r) {
        int entries = 0;
        for (std::size_t at = layout::measuring::kVariables;
             at + 3 <= layout::measuring::kVariablesEnd && r.u8(at) != 0; at += 3) {
            ++entries;
            if (r.u8(at) == '@')
                break;  // indirect list, known at run time only
            Channel c{r.u8(at), r.u8(at + 1), r.u8(at + 2)};
            if (c.number == 0) {  // one-letter name: letter, number, 0
                c.number = c.second;
                c.second = 0;
            }
            const unsigned key = (c.first << 16) | (c.second << 8) | c.number;
            if (channelKeys_.emplace(key, 0).second) {
                if (channels_.size() < static_cast<std::size_t>(kMaxChannels)) {
                    const std::size_t pos =
                        sysblk::kChannels + sysblk::kChannelEntry * channels_.size();
                    block_[pos] = c.first;
                    block_[pos + 1] = c.second;
                    block_[pos + 2] = c.number;
                } else {
                    channelsOver_ = true;
                }
                channels_.push_back(c);
            }
        }
        return entries;
    }

    int compareReference(std::uint8_t letter, std::uint8_t number) {
        if (referenceLetter_ == 0) {
            referenceLetter_ = letter;
            referenceNumber_ = number;
            return 0;
        }
        if (letter == referenceLetter_ && number == referenceNumber_)
            return 0;
        detail_ = VariableText(letter, number);
        return kOtherReference;
    }

    static std::string moduleName(const ComponentRecord& r) {
        return r.text(layout::module::kName, layout::module::kNameSize);
    }

    static constexpr std::size_t kNoModule = static_cast<std::size_t>(-1);

    // The module of `name`, read on first sight when `add` is set.
    std::size_t moduleIndex(const std::string& name, bool add) {
        const auto it = moduleByName_.find(name);
        if (it != moduleByName_.end())
            return it->second;
        if (!add)
            return kNoModule;
        Module m;
        m.name = name;
        // Modules live beside the procedure; a procedure never saved has no
        // place, so none of its modules can be found.
        m.path = directory_.empty() ? name + ".PAM" : directory_ + "/" + name + ".PAM";
        m.readable = !directory_.empty() && IsReadableRegularFile(m.path);
        modules_.push_back(std::move(m));
        moduleByName_.emplace(name, modules_.size() - 1);
        return modules_.size() - 1;
    }

    static std::string baseName(const std::string& path) {
        const std::size_t cut = path.find_last_of("/\\");
        return cut == std::string::npos ? path : path.substr(cut + 1);
    }

    void fillSystemBlock() {
        putU16(sysblk::kModuleCount, static_cast<std::uint16_t>(modules_.size()));
        putU16(sysblk::kPictureCount, static_cast<std::uint16_t>(pictureOrder_.size()));
        putU16(sysblk::kSectionCount, static_cast<std::uint16_t>(sections_.size()));
        putU16(sysblk::kChannelCount, static_cast<std::uint16_t>(channels_.size()));
        putU32(sysblk::kProcedureBytes,
               static_cast<std::uint32_t>(recordsRead_ * rec::kRecordSize));
        putU32(sysblk::kPictureBytes, static_cast<std::uint32_t>(pictureBytes_));
        putU32(sysblk::kMeasureBytes, static_cast<std::uint32_t>(measureBytes_));
        putU16(sysblk::kVariableCount, static_cast<std::uint16_t>(variableCount_));
        for (std::size_t i = 0; i < pictureOrder_.size() && i < kMaxPictures; ++i) {
            const std::string& p = pictureOrder_[i];
            std::memcpy(&block_[sysblk::kPictures + sysblk::kPictureEntry * i], p.data(),
                        std::min<std::size_t>(p.size(), sysblk::kPictureEntry - 1));
        }
    }

    void putU16(std::size_t at, std::uint16_t v) { PutLe16(&block_[at], v); }
    void putU32(std::size_t at, std::uint32_t v) { PutLe32(&block_[at], v); }
    std::uint16_t getU16(std::size_t at) const { return GetLe16(&block_[at]); }

    // ---- State -------------------------------------------------------------

    std::string path_;
    std::uint16_t mode_;
    std::string directory_;
    std::string name_;
    std::string stem_;  // full path without its four-character extension
    SyntaxTestResult result_;
    Status readError_;  // the first file that could not be read to its end
    std::array<std::uint8_t, kSystemBlockSize> block_{};

    int step_ = 0;
    std::string detail_;
    bool fileOld_ = false;
    std::size_t recordsRead_ = 0;

    std::bitset<4 * 256> variables_;
    int variableCount_ = 0;
    bool variablesReported_ = false;

    std::bitset<4> routineActive_;
    bool memoryPending_ = false;
    std::uint64_t measureBytes_ = 0;
    std::unordered_map<unsigned, int> channelKeys_;
    std::vector<Channel> channels_;
    bool channelsOver_ = false;
    bool channelsReported_ = false;

    std::vector<Module> modules_;
    std::unordered_map<std::string, std::size_t> moduleByName_;
    std::vector<std::pair<int, std::size_t>> moduleCalls_;
    int moduleComponents_ = 0;
    bool modulesReported_ = false;

    std::uint8_t referenceLetter_ = 0;
    std::uint8_t referenceNumber_ = 0;

    bool interbusUsed_ = false;
    bool interbusOpen_ = false;
    bool controlUsed_ = false;
    bool interbusControlReported_ = false;

    std::unordered_map<std::string, PictureInfo> pictures_;
    std::vector<std::string> pictureOrder_;
    std::uint64_t pictureBytes_ = 0;
    bool picturesReported_ = false;

    std::vector<Section> sections_;
    int firstSections_ = 0, middleSections_ = 0, lastSections_ = 0;
    bool sectionsReported_ = false;
    int testSelections_ = 0;

    std::uint64_t databaseBytes_ = 0;  // database components (layout pending)
    std::size_t stepsInFile_ = 0;      // records of the file being walked
    int dbaseFiles_ = 0;  // dBASE files with more than 16 fields (database layout pending)
};

}  // namespace

bool SyntaxFinding::wholeFile() const {
    return textId == kRoutineLeftActive || textId == kInterruptFileMissing ||
           textId == kMemoryNotTransferred || textId == kModuleMissing;
}

std::vector<std::string> RenderFinding(const SyntaxFinding& finding) {
    std::vector<std::string> out;
    std::string line =
        finding.wholeFile() ? std::string("     ==> ") : format("    %4d:", finding.step);
    line += text(finding.textId);
    if (finding.textId == kDbaseFiles)
        line += format("  (=%d. / max %d)", finding.figure, kMaxDbaseFiles);
    out.push_back(std::move(line));
    if (!finding.detail.empty())
        out.push_back("           ==> " + finding.detail);
    return out;
}

std::vector<std::string> RenderProtocol(const SyntaxTestResult& result) {
    std::vector<std::string> out;
    if (result.fileError.message == kErrNotProcedureFile)
        return out;
    out.push_back(text(kTextProtocol) + "  " + result.procedureName);
    out.push_back(" ");
    out.push_back(text(kTextDirectory) + result.directory);
    int modeText = kTextModeTarvisel;
    if (result.checkMode == kCheckLumo)
        modeText = kTextModeLumo;
    else if (result.checkMode == kCheckPv6410)
        modeText = kTextModePv6410;
    else if (result.checkMode == kCheckPv3320)
        modeText = kTextModePv3320;
    out.push_back(text(modeText));

    std::size_t next = 0;
    for (std::size_t i = 0; i < result.files.size(); ++i) {
        const CheckedFile& f = result.files[i];
        switch (f.kind) {
            case CheckedFileKind::Procedure:
                out.push_back("*** PAD ***");
                break;
            case CheckedFileKind::Module:
                out.push_back("*** PAM ***");
                break;
            case CheckedFileKind::Interrupt:
                out.push_back(" ");
                out.push_back(format("*** IR%d ***", f.interrupt));
                break;
        }
        out.push_back("    " + f.name);
        for (; next < result.findings.size() && result.findings[next].file == i; ++next)
            for (std::string& line : RenderFinding(result.findings[next]))
                out.push_back(std::move(line));
    }

    // A file that could not be read (to its end) leaves no verdict.
    if (result.fileError.message == kErrFileOpen)
        return out;
    if (result.errorCount != 0) {
        out.push_back(" ");
        out.push_back(format("*** %d %s ***", result.errorCount, text(kTextErrors).c_str()));
        return out;
    }

    const SyntaxSummary& s = result.summary;
    out.push_back(text(kTextOk));
    out.push_back(text(kTextPictureFiles));
    for (const std::string& p : s.pictures)
        out.push_back("    " + p);

    // Interbus-S channels are not known from the records yet: the lines
    // carry their labels only.
    out.push_back(text(kTextInterbusConfig));
    out.push_back(text(kTextOutputsAnalog));
    out.push_back(text(kTextOutputsDigital));
    out.push_back(text(kTextInputsAnalog));

    if (isInstrumentMode(result.checkMode)) {
        const bool big = result.checkMode == kCheckPv6410;
        out.push_back(text(big ? kTextMemoryPv6410 : kTextMemoryPv3320));
        // "%30s:  %6.1f kB" (PV6410) or "%30s:  %6.3f kB" (PV3320), the
        // number written without the locale.
        const int decimals = big ? 1 : 3;
        auto memoryLine = [&](int label, std::uint64_t bytes) {
            return format("%30s:  ", text(label).c_str()) +
                   FixedText(static_cast<double>(bytes) / 1024.0, 6, decimals) + " kB";
        };
        out.push_back(memoryLine(kTextProcedureSize, s.procedureBytes));
        out.push_back(memoryLine(kTextPictures, s.pictureBytes));
        out.push_back(memoryLine(kTextMeasure, s.measureBytes));
        out.push_back(memoryLine(kTextDatabase, s.databaseBytes));
    }

    out.push_back(text(kTextInstrumentConfig));
    out.push_back(text(kTextInputsAnalog));
    for (const std::string& c : s.channels)
        out.push_back("                    " + c);
    out.push_back(text(kTextOutputsAnalog));
    out.push_back(text(kTextInputsDigital));
    out.push_back(text(kTextOutputsDigital));

    if (!s.sections.empty()) {
        out.push_back(text(kTextSections));
        int n = 0;
        for (const SyntaxSummary::Section& sec : s.sections)
            out.push_back(format("%3d    %s  (B%d)", ++n, sec.name.c_str(), sec.step));
    }
    return out;
}

const std::vector<int>& SyntaxFindingTextIds() {
    static const std::vector<int> ids = {kGraphicInInterrupt,
                                         kInterruptInInterrupt,
                                         kProtocolInInterrupt,
                                         kTimeInInterrupt,
                                         kRoutineAlreadyActive,
                                         kRoutineNotActive,
                                         kRoutineLeftActive,
                                         kInterruptFileMissing,
                                         kMemoryNotTransferredYet,
                                         kTransferWithoutMemory,
                                         kMemoryNotTransferred,
                                         kMeasuringForbiddenInInterrupt,
                                         kTooManyChannels,
                                         kReferenceMissing,
                                         kGotoMissing,
                                         kBargraphInInterrupt,
                                         kDbaseFiles,
                                         kDbaseInInterrupt,
                                         kModuleMissing,
                                         kModuleInInterrupt,
                                         kTooManyModules,
                                         kInterruptInModule,
                                         kLastWithCondition,
                                         kModuleNotRegistered,
                                         kModuleLastWithCondition,
                                         kLastIsModule,
                                         kBreakInModule,
                                         kOtherReference,
                                         kInterbusCycleFirst,
                                         kInterbusInitialisedTwice,
                                         kInterbusNotReset,
                                         kInterbusWithControl,
                                         kPictureMissing,
                                         kJpegOnPv6410,
                                         kPictureInInterrupt,
                                         kPictureUnreadable,
                                         kPictureTooLarge,
                                         kTooManyPictures,
                                         kExternalOnInstrument,
                                         kInterruptTooLong,
                                         kTransferCommand,
                                         kBitmapColoursPv6410,
                                         kPictureMissingWarning,
                                         kOldFormat,
                                         kSensorOutsideInstrument,
                                         kBitmapColoursPv3320,
                                         kIntervalTooLong,
                                         kOnlineGraphicInInterrupt,
                                         kOnlineGraphicOnInstrument,
                                         kTooManyVariables,
                                         kOptionsOutsidePc,
                                         kTestSelectionTwice,
                                         kSectionNameTwice,
                                         kFirstSectionCount,
                                         kLastSectionCount,
                                         kTooManySections,
                                         kRatedValueWarning};
    return ids;
}

bool IsPadFileName(std::string_view path) {
    if (path.size() < 4)
        return false;
    const std::string_view ext = path.substr(path.size() - 4);
    return ext[0] == '.' && (ext[1] == 'P' || ext[1] == 'p') && (ext[2] == 'A' || ext[2] == 'a') &&
           (ext[3] == 'D' || ext[3] == 'd');
}

bool IsModuleFileName(std::string_view path) {
    if (path.size() < 4)
        return false;
    const std::string_view ext = path.substr(path.size() - 4);
    return ext[0] == '.' && (ext[1] == 'P' || ext[1] == 'p') && (ext[2] == 'A' || ext[2] == 'a') &&
           (ext[3] == 'M' || ext[3] == 'm');
}

SyntaxTestResult RunSyntaxTest(const std::string& padPath, std::uint16_t checkMode) {
    if (!IsPadFileName(padPath)) {
        SyntaxTestResult r;
        r.fileError = Status::fromCode(ErrorCode(kErrNotProcedureFile));
        return r;
    }
    return SyntaxTest(padPath, checkMode).runOnFile();
}

SyntaxTestResult RunSyntaxTestInMemory(const ProcedureList& list, const std::string& padPath,
                                       std::uint16_t checkMode) {
    return SyntaxTest(padPath, checkMode).runInMemory(list);
}

}  // namespace quelvari

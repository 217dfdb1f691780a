#include "components/editor.h"

#include <algorithm>
#include <cctype>

#include "components/condition.h"
#include "components/editors.h"

namespace quelvari {

std::string ReadText(Form& form, std::uint32_t id, std::size_t maxChars) {
    form.errorFieldControl = id;
    return form.text(id, maxChars);
}

std::optional<std::uint32_t> ReadUnsignedNumber(const std::string& text) {
    std::size_t i = 0;
    while (i < text.size() && text[i] == ' ')
        ++i;
    std::uint32_t v = 0;
    std::size_t digits = 0;
    for (; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])); ++i, ++digits) {
        v = v * 10 + static_cast<std::uint32_t>(text[i] - '0');
        if (v > 0xFFFF)
            return std::nullopt;
    }
    while (i < text.size() && text[i] == ' ')
        ++i;
    if (digits == 0 || i != text.size())
        return std::nullopt;
    return v;
}

bool IsLargeNumber(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos)
        return false;
    const std::size_t end = text.find_last_not_of(' ') + 1;
    bool nonZero = false;
    for (std::size_t i = first; i < end; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(text[i])))
            return false;
        nonZero = nonZero || text[i] != '0';
    }
    return nonZero && !ReadUnsignedNumber(text);
}

int ReadHead(Form& form, ComponentRecord& r) {
    r.clear();
    const std::string entry = ReadText(form, ctl::kEntryCondition, kConditionReadChars);
    if (const int e = CheckCondition(entry))
        return ErrorCode(e, 1);
    storeInputCondition(r, entry);
    storeComment(r, ReadText(form, ctl::kDescription, kDescriptionReadChars));
    return 0;
}

int ReadBranch(Form& form, ComponentRecord& r, int conditionField) {
    const std::string branch = ReadText(form, ctl::kBranchCondition, kConditionReadChars);
    if (branch.empty()) {
        storeBranchCondition(r, "");
        // Any number but 0 is refused here, also one too large to be a step.
        const std::string target = ReadText(form, ctl::kTarget, 10);
        if (ReadUnsignedNumber(target).value_or(0) != 0 || IsLargeNumber(target))
            return ErrorCode(kErrGotoWithoutBranch, conditionField);
        return 0;
    }
    if (const int e = CheckCondition(branch))
        return ErrorCode(e, conditionField);
    storeBranchCondition(r, branch);
    const auto target = ReadUnsignedNumber(ReadText(form, ctl::kTarget, 10));
    if (!target || *target == 0)
        return ErrorCode(kErrGotoMissing, conditionField + 1);
    r.setGotoTarget(static_cast<std::uint16_t>(*target));
    return 0;
}

int FinishRead(Form& form, ComponentRecord& r, char typeCode) {
    form.errorFieldControl = 0;
    r.setTypeCode(static_cast<std::uint8_t>(typeCode));
    return 0;
}

void FillHead(const ComponentRecord& r, Form& form) {
    // The condition fields are read up to their zero byte within the record,
    // so a long entry condition that ran on shows as it was stored.
    form.setText(ctl::kEntryCondition, r.text(rec::kInputCondition, kConditionReadChars));
    form.setText(ctl::kDescription, r.comment());
    form.setText(ctl::kBranchCondition, r.text(rec::kBranchCondition, kConditionReadChars));
    form.setText(ctl::kTarget, r.gotoTarget() ? std::to_string(r.gotoTarget()) : "");
}

std::vector<EditorControl> HeadControls() {
    return {{ctl::kEntryCondition, ControlKind::Text, "entry"},
            {ctl::kDescription, ControlKind::Text, "description"}};
}

std::vector<EditorControl> BranchControls() {
    return {{ctl::kBranchCondition, ControlKind::Text, "branch"},
            {ctl::kTarget, ControlKind::Text, "target"}};
}

int ReadGeneric(Form& form, ComponentRecord& editRecord, const ComponentType& type) {
    // Keep the payload (and the reserved bytes 84 to 87) of the record the
    // dialog started from; only the head fields come from the form.
    std::array<std::uint8_t, rec::kRecordSize - rec::kTypeCode - 1> kept{};
    std::copy(editRecord.bytes.begin() + rec::kTypeCode + 1, editRecord.bytes.end(), kept.begin());
    const auto restore = [&] {
        std::copy(kept.begin(), kept.end(), editRecord.bytes.begin() + rec::kTypeCode + 1);
    };
    int e = ReadHead(form, editRecord);
    if (e == 0)
        e = ReadBranch(form, editRecord, 3);
    restore();
    if (e)
        return e;
    if (type.kind == ComponentKind::GraphicPrint)
        editRecord.setU8(rec::kPayload, kGraphicPrintMark);
    else if (type.kind == ComponentKind::TextPrint &&
             editRecord.u8(rec::kPayload) == kGraphicPrintMark)
        editRecord.setU8(rec::kPayload, 0);
    return FinishRead(form, editRecord, type.code);
}

void FillGeneric(const ComponentRecord& r, Form& form) {
    FillHead(r, form);
}

namespace {

std::vector<EditorControl> concat(std::vector<EditorControl> a,
                                  const std::vector<EditorControl>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::vector<EditorControl> withHead(const std::vector<EditorControl>& own) {
    return concat(concat(HeadControls(), own), BranchControls());
}

template <ComponentKind K>
int readGenericOf(Form& form, ComponentRecord& r) {
    return ReadGeneric(form, r, TypeOf(K));
}

template <ComponentKind K>
Editor genericEditor() {
    return {readGenericOf<K>, FillGeneric, DescribeGeneric, withHead({})};
}

std::vector<Editor> buildEditors() {
    using K = ComponentKind;
    std::vector<Editor> e(kComponentTypeCount);
    e[static_cast<std::size_t>(K::Measuring)] = {ReadMeasuring, FillMeasuring, DescribeMeasuring,
                                                 withHead(MeasuringControls())};
    e[static_cast<std::size_t>(K::Logic)] = genericEditor<K::Logic>();
    e[static_cast<std::size_t>(K::Arithmetic)] = genericEditor<K::Arithmetic>();
    e[static_cast<std::size_t>(K::Statistic)] = genericEditor<K::Statistic>();
    e[static_cast<std::size_t>(K::InputOutput)] = genericEditor<K::InputOutput>();
    e[static_cast<std::size_t>(K::TextPrint)] = genericEditor<K::TextPrint>();
    e[static_cast<std::size_t>(K::GraphicPrint)] = genericEditor<K::GraphicPrint>();
    e[static_cast<std::size_t>(K::Time)] = {ReadTime, FillTime, DescribeTime,
                                            withHead(TimeControls())};
    e[static_cast<std::size_t>(K::Database)] = genericEditor<K::Database>();
    e[static_cast<std::size_t>(K::Module)] = {ReadModule, FillModule, DescribeModule,
                                              withHead(ModuleControls())};
    e[static_cast<std::size_t>(K::Break)] = {ReadBreak, FillBreak, DescribeBreak,
                                             withHead(BreakControls())};
    e[static_cast<std::size_t>(K::Interrupt)] = {ReadInterrupt, FillInterrupt, DescribeInterrupt,
                                                 withHead(InterruptControls())};
    e[static_cast<std::size_t>(K::Graphic)] = genericEditor<K::Graphic>();
    e[static_cast<std::size_t>(K::Bargraph)] = genericEditor<K::Bargraph>();
    e[static_cast<std::size_t>(K::Interbus)] = genericEditor<K::Interbus>();
    e[static_cast<std::size_t>(K::Control)] = genericEditor<K::Control>();
    e[static_cast<std::size_t>(K::Picture)] = {ReadPicture, FillPicture, DescribePicture,
                                               withHead(PictureControls())};
    e[static_cast<std::size_t>(K::Display)] = genericEditor<K::Display>();
    e[static_cast<std::size_t>(K::Command)] = {ReadCommand, FillCommand, DescribeCommand,
                                               withHead(CommandControls())};
    e[static_cast<std::size_t>(K::Sensor)] = genericEditor<K::Sensor>();
    e[static_cast<std::size_t>(K::OnlineGraphic)] = genericEditor<K::OnlineGraphic>();
    e[static_cast<std::size_t>(K::Options)] = genericEditor<K::Options>();
    e[static_cast<std::size_t>(K::ReadDatabase)] = genericEditor<K::ReadDatabase>();
    e[static_cast<std::size_t>(K::TestSelection)] = genericEditor<K::TestSelection>();
    e[static_cast<std::size_t>(K::DatabaseCopy)] = genericEditor<K::DatabaseCopy>();
    e[static_cast<std::size_t>(K::Font)] = genericEditor<K::Font>();
    e[static_cast<std::size_t>(K::Section)] = {ReadSection, FillSection, DescribeSection,
                                               withHead(SectionControls())};
    return e;
}

}  // namespace

const Editor& EditorOf(const ComponentType& type) {
    static const std::vector<Editor> editors = buildEditors();
    return editors[static_cast<std::size_t>(type.kind)];
}

}  // namespace quelvari

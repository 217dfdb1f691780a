#include "components/catalogue.h"

#include "components/layouts.h"
#include "texts/texts.h"

namespace quelvari {

const std::vector<SelectionGroup>& SelectionGroups() {
    static const std::vector<SelectionGroup> groups = {
        {2120, {{1158, 1146, 1143, 1140, 1142}, {1152, 1363, 1364, 1365, 2265}}},
        {2121, {{1150, 1155, 1148, 1141, 1475}}},
        {2122, {{1139, 1153}}},
        {2123, {{1145, 1147, 1157}}},
        {2124, {{1154, 1149, 1144}, {1151, 1156, 2277}}},
        {2125, {{1159}}},
    };
    return groups;
}

const ComponentType* FindType(std::uint8_t code, std::uint8_t payloadByte0) {
    if (code == 'P')
        return &TypeOf(payloadByte0 == kGraphicPrintMark ? ComponentKind::GraphicPrint
                                                         : ComponentKind::TextPrint);
    for (const ComponentType& t : kCatalogue)
        if (static_cast<std::uint8_t>(t.code) == code)
            return &t;
    return nullptr;
}

const ComponentType* FindType(const ComponentRecord& r) {
    return FindType(r.typeCode(), r.u8(rec::kPayload));
}

const ComponentType& TypeOf(ComponentKind kind) {
    return kCatalogue[static_cast<std::size_t>(kind)];
}

const ComponentType* FindTypeByDescription(std::uint16_t descriptionId) {
    for (const ComponentType& t : kCatalogue)
        if (t.descriptionId == descriptionId)
            return &t;
    return nullptr;
}

const ComponentType* FindTypeByName(const std::string& name) {
    if (name == "PG")
        return &TypeOf(ComponentKind::GraphicPrint);
    if (name.size() != 1)
        return nullptr;
    return FindType(static_cast<std::uint8_t>(name[0]), 0);
}

std::uint16_t PictureId(const ComponentRecord& r) {
    const ComponentType* t = FindType(r);
    return t ? t->pictureId : kUnknownPictureId;
}

std::string TypeName(const ComponentRecord& r) {
    const ComponentType* t = FindType(r);
    return t ? LangText(t->nameId) : std::string("unknown");
}

std::uint16_t EditorDialogId(const ComponentRecord& r) {
    const ComponentType* t = FindType(r);
    if (!t)
        return 0;
    if (t->kind != ComponentKind::Interbus)
        return t->dialogId;
    switch (r.u8(layout::interbus::kFunction)) {
        case layout::interbus::kCycle:
            return kInterbusCycleDialog;
        case layout::interbus::kInitialise:
            return kInterbusInitialiseDialog;
        case layout::interbus::kReset:
            return kInterbusResetDialog;
        default:
            return 0;
    }
}

void PresetNewRecord(ComponentRecord& r, const ComponentType& type) {
    r.clear();
    switch (type.kind) {
        case ComponentKind::Bargraph:
        case ComponentKind::Display:
        case ComponentKind::Graphic:
        case ComponentKind::InputOutput:
            r.setU8(layout::kPresetFlag, 1);
            break;
        case ComponentKind::Picture:
            r.setU8(layout::kPresetFlag, 1);
            r.setU8(layout::picture::kOutputMedium, layout::picture::kScreen);
            break;
        case ComponentKind::ReadDatabase:
            r.setU8(layout::kReadDatabasePreset, 1);
            break;
        default:
            break;
    }
}

}  // namespace quelvari

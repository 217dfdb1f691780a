// The catalogue of component types: the one-letter type code at record byte
// 83, each type's name and description texts, its editor dialog and its
// picture, and the groups of the selection dialog. Everything here is data;
// the lookups live in catalogue.cpp.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "model/record.h"

namespace quelvari {

// The families of component types, one per catalogue row.
enum class ComponentKind : std::uint8_t {
    Measuring,
    Logic,
    Arithmetic,
    Statistic,
    InputOutput,
    TextPrint,
    GraphicPrint,
    Time,
    Database,
    Module,
    Break,
    Interrupt,
    Graphic,
    Bargraph,
    Interbus,
    Control,
    Picture,
    Display,
    Command,
    Sensor,
    OnlineGraphic,
    Options,
    ReadDatabase,
    TestSelection,
    DatabaseCopy,
    Font,
    Section,
};

inline constexpr std::size_t kComponentTypeCount = 27;

struct ComponentType {
    ComponentKind kind;
    char code;                    // the letter at record byte 83
    const char* key;              // short English key for tools ("measuring", ...)
    std::uint16_t nameId;         // text id of the type's name
    std::uint16_t descriptionId;  // tool tip text; also the selection picture's control id
    std::uint16_t dialogId;       // editor dialog; its caption text has the same id
    std::uint16_t pictureId;      // bitmap resource shown in selection and view
};

// In the order of the catalogue table. The text print and graphic print
// components share the letter P; record byte 88 equal to 'G' marks graphic
// print. The Interbus-S row names the function selection dialog (189) that a
// new Interbus-S component opens; editing chooses the dialog by byte 88.
inline constexpr std::array<ComponentType, kComponentTypeCount> kCatalogue{{
    {ComponentKind::Measuring, 'M', "measuring", 130, 1150, 130, 142},
    {ComponentKind::Logic, 'B', "logic", 131, 1141, 131, 141},
    {ComponentKind::Arithmetic, 'A', "arithmetic", 132, 1139, 132, 146},
    {ComponentKind::Statistic, 'T', "statistic", 133, 1153, 133, 147},
    {ComponentKind::InputOutput, 'N', "input-output", 134, 1158, 134, 145},
    {ComponentKind::TextPrint, 'P', "text-print", 159, 1152, 159, 153},
    {ComponentKind::GraphicPrint, 'P', "graphic-print", 178, 1363, 178, 177},
    {ComponentKind::Time, 'Z', "time", 160, 1154, 160, 148},
    {ComponentKind::Database, 'd', "database", 161, 1145, 161, 149},
    {ComponentKind::Module, 'U', "module", 162, 1151, 162, 151},
    {ComponentKind::Break, 'u', "break", 163, 1144, 163, 157},
    {ComponentKind::Interrupt, 'I', "interrupt", 164, 1149, 164, 150},
    {ComponentKind::Graphic, 'G', "graphic", 165, 1146, 165, 152},
    {ComponentKind::Bargraph, 'b', "bargraph", 166, 1142, 166, 144},
    {ComponentKind::Interbus, 'i', "interbus", 167, 1148, 189, 155},
    {ComponentKind::Control, 'S', "control", 168, 1155, 168, 143},
    {ComponentKind::Picture, 'p', "picture", 169, 1143, 169, 154},
    {ComponentKind::Display, 'n', "display", 170, 1140, 170, 140},
    {ComponentKind::Command, 'D', "command", 172, 1159, 172, 171},
    {ComponentKind::Sensor, 's', "sensor", 187, 1475, 187, 186},
    {ComponentKind::OnlineGraphic, 'g', "online-graphic", 206, 1364, 206, 207},
    {ComponentKind::Options, 'O', "options", 212, 1365, 212, 209},
    {ComponentKind::ReadDatabase, 'R', "read-database", 213, 1147, 213, 208},
    {ComponentKind::TestSelection, 'a', "test-selection", 215, 1156, 215, 210},
    {ComponentKind::DatabaseCopy, 'c', "database-copy", 216, 1157, 216, 211},
    {ComponentKind::Font, 'f', "font", 218, 2265, 218, 217},
    {ComponentKind::Section, 'C', "section", 221, 2277, 221, 219},
}};

// Record byte 88 of a 'P' record that marks the graphic print component.
inline constexpr std::uint8_t kGraphicPrintMark = 'G';
// Picture of a record whose type letter is not in the catalogue.
inline constexpr std::uint16_t kUnknownPictureId = 156;
// Interbus-S editors by record byte 88.
inline constexpr std::uint16_t kInterbusSelectDialog = 189;
inline constexpr std::uint16_t kInterbusCycleDialog = 167;       // byte 88 'Z'
inline constexpr std::uint16_t kInterbusInitialiseDialog = 190;  // byte 88 'I'
inline constexpr std::uint16_t kInterbusResetDialog = 191;       // byte 88 'R'

// The selection dialog: caption text 139, six groups, Help (1002) and Cancel
// (2); each picture control's id is its type's description id.
inline constexpr std::uint16_t kSelectionDialogId = 139;
inline constexpr std::uint32_t kSelectionHelpContext = 200;
struct SelectionGroup {
    std::uint16_t id;                              // group box control and its title text
    std::vector<std::vector<std::uint16_t>> rows;  // picture control ids, left to right
};
const std::vector<SelectionGroup>& SelectionGroups();

// Catalogue lookups. A 'P' record is the graphic print component when byte 88
// is 'G'. Null for a letter not in the catalogue (and for type 0).
const ComponentType* FindType(const ComponentRecord& r);
const ComponentType* FindType(std::uint8_t code, std::uint8_t payloadByte0 = 0);
const ComponentType& TypeOf(ComponentKind kind);
// The type whose selection picture has control id `descriptionId`.
const ComponentType* FindTypeByDescription(std::uint16_t descriptionId);
// Looks up a type by its letter as tools name it: "PG" is graphic print, "P"
// text print, any other single letter by the table. Null when unknown.
const ComponentType* FindTypeByName(const std::string& name);

// The picture of a record's type; kUnknownPictureId for unknown letters.
std::uint16_t PictureId(const ComponentRecord& r);
// The name of a record's type in the current language; "unknown" for a letter
// not in the catalogue.
std::string TypeName(const ComponentRecord& r);
// The editor dialog that editing `r` opens: by type, with the 'G' test for
// 'P' and byte 88 for Interbus-S ('Z', 'I', 'R'); 0 when none opens (unknown
// letters, Interbus-S with any other byte 88).
std::uint16_t EditorDialogId(const ComponentRecord& r);

// Picking a type in the selection dialog: clears `r` and applies the type's
// presets (bargraph, display, graphic, input/output: byte 88 = 1; picture:
// byte 88 = 1 and byte 90 = 'D'; read database: byte 217 = 1; no others).
// The graphic print mark 'G' at byte 88 is written by that type's reader.
void PresetNewRecord(ComponentRecord& r, const ComponentType& type);

}  // namespace quelvari

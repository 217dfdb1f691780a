#pragma once

class QWidget;
namespace quelvari {
struct ComponentRecord;
}

namespace quelvari::app {

// Component selection (dialog 139): applies the chosen type's presets to
// editRecord and runs its editor; true only when both ended with OK.
bool RunComponentSelection(QWidget* parent, ComponentRecord& editRecord);
// The editor of editRecord's type (openEditor dispatch): 1 on OK; 0 on
// Cancel; the type code itself for an unknown type.
int OpenComponentEditor(QWidget* parent, ComponentRecord& editRecord);

}  // namespace quelvari::app

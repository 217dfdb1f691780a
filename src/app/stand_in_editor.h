// A plain component selection and editor built from the core's control lists:
// one row per control the type's OK reader reads. The main window reaches the
// component dialogs only through these two functions.
#pragma once

#include <QWidget>

#include "model/record.h"

namespace quelvari::app {

// The component selection: a list of the catalogue's types; the chosen type's
// presets go into editRecord and its editor runs. True only when both ended
// with OK.
bool SelectComponent(QWidget* parent, ComponentRecord& editRecord);
// The editor of editRecord's type: 1 on OK, 0 on Cancel, the type code itself
// for a type the catalogue does not know.
int EditComponent(QWidget* parent, ComponentRecord& editRecord);

}  // namespace quelvari::app

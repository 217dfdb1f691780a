// The layouts of the component dialogs and what each dialog does beyond the
// common cycle (click handlers, file choice). Rules stay in the core: every
// dialog reads and fills through the type's editor.
#pragma once

#include "app/components/component_dialog.h"
#include "components/catalogue.h"

namespace quelvari::app {

// The dialog that edits a record of `type` in dialog `dialogId` (for the
// Interbus-S component 167, 190 or 191; otherwise the type's own dialog).
DialogDef DialogFor(const ComponentType& type, std::uint16_t dialogId);

// Runs dialog `dialogId` of `type` over editRecord; 1 on OK, 0 on Cancel.
int RunEditorOf(QWidget* parent, ComponentRecord& editRecord, const ComponentType& type,
                std::uint16_t dialogId);

// The built-in German caption of dialog `dialogId`.
QString GermanCaption(std::uint16_t dialogId);

}  // namespace quelvari::app

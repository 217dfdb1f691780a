#include "app/components/component_dialogs.h"

#include "app/components/component_dialog.h"
#include "app/components/dialog_defs.h"
#include "app/components/selection_dialog.h"
#include "components/catalogue.h"

namespace quelvari::app {

int RunEditorOf(QWidget* parent, ComponentRecord& editRecord, const ComponentType& type,
                std::uint16_t dialogId) {
    ComponentDialog dlg(parent, editRecord, DialogFor(type, dialogId));
    return dlg.exec() == QDialog::Accepted ? 1 : 0;
}

bool RunComponentSelection(QWidget* parent, ComponentRecord& editRecord) {
    SelectionDialog dlg(parent, editRecord);
    return dlg.exec() == QDialog::Accepted;
}

int OpenComponentEditor(QWidget* parent, ComponentRecord& editRecord) {
    const ComponentType* type = FindType(editRecord);
    if (!type)
        return editRecord.typeCode();
    // Interbus-S opens the dialog of its function; with no known function
    // nothing opens.
    const std::uint16_t dialogId = EditorDialogId(editRecord);
    if (dialogId == 0)
        return 0;
    return RunEditorOf(parent, editRecord, *type, dialogId);
}

}  // namespace quelvari::app

// The component selection (dialog 139): six groups of type pictures; a click
// on a picture presets the edit record for that type and runs its editor.
#pragma once

#include <QDialog>
#include <QIcon>

#include "app/components/widget_form.h"
#include "model/record.h"

namespace quelvari::app {

// The picture of a type (catalogue picture id); a null icon when none is
// installed.
QIcon ComponentPicture(std::uint16_t pictureId);

class SelectionDialog : public QDialog {
    Q_OBJECT
  public:
    SelectionDialog(QWidget* parent, ComponentRecord& editRecord);
    WidgetForm& form() { return form_; }
    // Picks the type whose picture has control id `descriptionId`, as a click
    // does.
    void pick(std::uint16_t descriptionId);

  private:
    ComponentRecord& editRecord_;
    WidgetForm form_;
};

// Runs the function selection (189) for a new Interbus-S record and then the
// chosen function's dialog; 1 on OK.
int RunInterbusSelection(QWidget* parent, ComponentRecord& editRecord);

}  // namespace quelvari::app

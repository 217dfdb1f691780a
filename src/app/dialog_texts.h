// A dialog's controls by control id, so that the text tables can relabel it
// as it opens (nothing in German: the texts built into the dialog stand).
#pragma once

#include <QDialog>
#include <QWidget>

#include <cstdint>
#include <map>
#include <vector>

#include "texts/texts.h"

namespace quelvari::app {

class WidgetTexts : public DialogTexts {
  public:
    explicit WidgetTexts(QDialog* dialog) : dialog_(dialog) {}
    // Names `widget` as control `id` (a button, label or group box).
    void add(std::uint32_t id, QWidget* widget) { controls_[id] = widget; }
    void setTitle(const std::string& cp1252Text) override;
    void setItemText(std::uint32_t controlId, const std::string& cp1252Text) override;
    // Relabels the dialog in the current language.
    void localise(std::uint32_t dialogId, const std::vector<std::uint32_t>& ids);

  private:
    QDialog* dialog_;
    std::map<std::uint32_t, QWidget*> controls_;
};

}  // namespace quelvari::app

// The core's Form over a dialog's widgets. Every control carries its control
// id in a dynamic property; the form finds it by that id, so the core's
// readers and fillers work on the real dialog exactly as on a MapForm.
#pragma once

#include <QPointer>
#include <QWidget>
#include <map>

#include "components/form.h"
#include "texts/texts.h"

namespace quelvari::app {

inline constexpr char kControlIdProperty[] = "quelvariControlId";

// Tags `w` with control id `id` and returns it, for building layouts inline.
template <class W>
W* WithId(W* w, std::uint32_t id) {
    w->setProperty(kControlIdProperty, static_cast<uint>(id));
    return w;
}
std::uint32_t ControlIdOf(const QWidget* w);

class WidgetForm : public Form, public DialogTexts {
  public:
    explicit WidgetForm(QWidget* root);

    // Collects the tagged children of the root; call after building.
    void rescan();
    QWidget* widget(std::uint32_t id) const;

    // Focuses control `id` and selects all its text (after a faulty OK).
    void focusAndSelect(std::uint32_t id);

    std::string text(std::uint32_t id, std::size_t maxChars) const override;
    bool checked(std::uint32_t id) const override;
    int currentIndex(std::uint32_t id) const override;
    void setText(std::uint32_t id, const std::string& cp1252Text) override;
    void setChecked(std::uint32_t id, bool on) override;
    void setItems(std::uint32_t id, const std::vector<std::string>& cp1252Items) override;
    void setCurrentIndex(std::uint32_t id, int index) override;
    void setEnabled(std::uint32_t id, bool on) override;
    void setVisible(std::uint32_t id, bool on) override;

    void setTitle(const std::string& cp1252Text) override;
    void setItemText(std::uint32_t controlId, const std::string& cp1252Text) override;

  private:
    QWidget* root_;
    std::map<std::uint32_t, QPointer<QWidget>> widgets_;
};

}  // namespace quelvari::app

// The form interface over a dialog's controls, by control id. Readers take a
// form and fill the edit record; fillers take a record and set a form. The
// dialogs of the user interface implement it; tests and the command-line tool
// use MapForm.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace quelvari {

class Form {
  public:
    virtual ~Form() = default;

    // Reading side, as OK readers see the controls.
    // The control's text (Windows-1252) cut to at most `maxChars` characters,
    // as a dialog gives it into a buffer of maxChars + 1 bytes.
    virtual std::string text(std::uint32_t id, std::size_t maxChars) const = 0;
    // Checked state of a radio button or check box.
    virtual bool checked(std::uint32_t id) const = 0;
    // Current index of a combo box; -1 when nothing is selected.
    virtual int currentIndex(std::uint32_t id) const = 0;

    // Filling side.
    virtual void setText(std::uint32_t id, const std::string& cp1252Text) = 0;
    virtual void setChecked(std::uint32_t id, bool on) = 0;
    virtual void setItems(std::uint32_t id, const std::vector<std::string>& cp1252Items) = 0;
    virtual void setCurrentIndex(std::uint32_t id, int index) = 0;
    virtual void setEnabled(std::uint32_t id, bool on) = 0;
    virtual void setVisible(std::uint32_t id, bool on) = 0;

    // The control an OK reader is about to read; 0 after a successful read.
    // On a fault the dialog focuses it and selects its text.
    std::uint32_t errorFieldControl = 0;

    // The directory of the procedure being edited: files a reader proves
    // (the module name's test file) are made there. "." for a procedure
    // never saved.
    std::string directory = ".";
};

// A form held in maps. A control never set reads as empty text, unchecked and
// without selection; enabled and visible until told otherwise.
class MapForm : public Form {
  public:
    std::string text(std::uint32_t id, std::size_t maxChars) const override;
    bool checked(std::uint32_t id) const override;
    int currentIndex(std::uint32_t id) const override;
    void setText(std::uint32_t id, const std::string& cp1252Text) override;
    void setChecked(std::uint32_t id, bool on) override;
    void setItems(std::uint32_t id, const std::vector<std::string>& cp1252Items) override;
    void setCurrentIndex(std::uint32_t id, int index) override;
    void setEnabled(std::uint32_t id, bool on) override;
    void setVisible(std::uint32_t id, bool on) override;

    bool enabled(std::uint32_t id) const { return !disabled_.count(id); }
    bool visible(std::uint32_t id) const { return !hidden_.count(id); }
    std::vector<std::string> items(std::uint32_t id) const;
    // The full text without a length limit.
    std::string fullText(std::uint32_t id) const;
    bool hasText(std::uint32_t id) const { return texts_.count(id) != 0; }

  private:
    std::map<std::uint32_t, std::string> texts_;
    std::map<std::uint32_t, bool> checked_;
    std::map<std::uint32_t, int> index_;
    std::map<std::uint32_t, std::vector<std::string>> items_;
    std::set<std::uint32_t> disabled_, hidden_;
};

// Control ids shared by every component dialog.
namespace ctl {
inline constexpr std::uint32_t kOk = 1;
inline constexpr std::uint32_t kCancel = 2;
inline constexpr std::uint32_t kHelp = 1002;
inline constexpr std::uint32_t kEntryCondition = 1014;
inline constexpr std::uint32_t kDescription = 1015;
inline constexpr std::uint32_t kBranchCondition = 1021;
inline constexpr std::uint32_t kTarget = 1022;
}  // namespace ctl

}  // namespace quelvari

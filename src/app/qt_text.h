// Windows-1252 meets Unicode here and nowhere else in the editor: the core's
// texts become QStrings for display, and what the user types becomes
// Windows-1252 or is refused.
#pragma once

#include <QString>
#include <QWidget>

#include <optional>
#include <string>

namespace quelvari::app {

// Windows-1252 bytes to a QString.
QString ToQt(const std::string& cp1252);
// A QString to Windows-1252; nothing when it holds a character the code page
// cannot store.
std::optional<std::string> FromQt(const QString& text);
// Like FromQt, but a refused text is replaced by an empty one; for texts the
// program itself made (paths shown back, file names from dialogs are checked
// separately).
std::string FromQtLossy(const QString& text);

// The message for typed text that Windows-1252 cannot store, in the current
// language, naming the first character it cannot store.
QString RefusedTextMessage(const QString& text);
// Shows that message (caption: text 3201) and returns false when `text`
// cannot be stored; true when it can.
bool CheckStorable(QWidget* parent, const QString& text);

// The text of table id `id` in the current language as a QString.
QString LangQt(std::uint32_t id);

}  // namespace quelvari::app

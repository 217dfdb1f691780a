#include "app/qt_text.h"

#include <QMessageBox>

#include "model/encoding.h"
#include "texts/dialog_labels.h"
#include "texts/texts.h"

namespace quelvari::app {

QString ToQt(const std::string& cp1252) {
    return QString::fromStdString(cp1252ToUtf8(cp1252));
}

std::optional<std::string> FromQt(const QString& text) {
    return utf8ToCp1252(text.toStdString());
}

std::string FromQtLossy(const QString& text) {
    return FromQt(text).value_or(std::string());
}

QString RefusedTextMessage(const QString& text) {
    QString bad;
    for (const QChar c : text) {
        if (!FromQt(QString(c))) {
            bad = c;
            break;
        }
    }
    return ToQt(LangText(window_text::kRefusedCharacter)).replace(QLatin1String("%s"), bad);
}

bool CheckStorable(QWidget* parent, const QString& text) {
    if (FromQt(text))
        return true;
    QMessageBox::warning(parent, LangQt(3201), RefusedTextMessage(text));
    return false;
}

QString LangQt(std::uint32_t id) {
    return ToQt(LangText(id));
}

}  // namespace quelvari::app

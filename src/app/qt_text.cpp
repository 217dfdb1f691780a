#include "app/qt_text.h"

#include <QMessageBox>

#include "model/encoding.h"
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
    switch (language()) {
        case kEnglish:
            return QStringLiteral(
                       "The text holds the character \"%1\", which cannot be stored "
                       "(Windows-1252).")
                .arg(bad);
        case kFrench:
            return QStringLiteral(
                       "Le texte contient le caract\u00e8re \"%1\", qui ne peut pas "
                       "\u00eatre enregistr\u00e9 (Windows-1252).")
                .arg(bad);
        case kItalian:
            return QStringLiteral(
                       "Il testo contiene il carattere \"%1\", che non pu\u00f2 essere "
                       "memorizzato (Windows-1252).")
                .arg(bad);
        default:
            return QStringLiteral(
                       "Der Text enth\u00e4lt das Zeichen \"%1\", das nicht "
                       "gespeichert werden kann (Windows-1252).")
                .arg(bad);
    }
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

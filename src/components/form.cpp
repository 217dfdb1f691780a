#include "components/form.h"

namespace quelvari {

std::string MapForm::text(std::uint32_t id, std::size_t maxChars) const {
    const auto it = texts_.find(id);
    if (it == texts_.end())
        return {};
    return it->second.substr(0, maxChars);
}

std::string MapForm::fullText(std::uint32_t id) const {
    const auto it = texts_.find(id);
    return it == texts_.end() ? std::string() : it->second;
}

bool MapForm::checked(std::uint32_t id) const {
    const auto it = checked_.find(id);
    return it != checked_.end() && it->second;
}

int MapForm::currentIndex(std::uint32_t id) const {
    const auto it = index_.find(id);
    return it == index_.end() ? -1 : it->second;
}

void MapForm::setText(std::uint32_t id, const std::string& cp1252Text) {
    texts_[id] = cp1252Text;
}

void MapForm::setChecked(std::uint32_t id, bool on) {
    checked_[id] = on;
}

void MapForm::setItems(std::uint32_t id, const std::vector<std::string>& cp1252Items) {
    items_[id] = cp1252Items;
}

std::vector<std::string> MapForm::items(std::uint32_t id) const {
    const auto it = items_.find(id);
    return it == items_.end() ? std::vector<std::string>() : it->second;
}

void MapForm::setCurrentIndex(std::uint32_t id, int index) {
    index_[id] = index;
}

void MapForm::setEnabled(std::uint32_t id, bool on) {
    if (on)
        disabled_.erase(id);
    else
        disabled_.insert(id);
}

void MapForm::setVisible(std::uint32_t id, bool on) {
    if (on)
        hidden_.erase(id);
    else
        hidden_.insert(id);
}

}  // namespace quelvari

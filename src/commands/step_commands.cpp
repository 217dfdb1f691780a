// The commands of the step list: Copy, Cut and Delete of several steps,
// Paste of several copied steps, moving steps with their references, and Redo.
#include <algorithm>
#include <utility>

#include "commands/edit_commands.h"

namespace quelvari {
namespace {

// Step numbers in 1..count, each once, ascending.
std::vector<std::uint32_t> ValidSteps(std::vector<std::uint32_t> steps, std::uint32_t count) {
    std::sort(steps.begin(), steps.end());
    steps.erase(std::unique(steps.begin(), steps.end()), steps.end());
    std::erase_if(steps, [count](std::uint32_t s) { return s < 1 || s > count; });
    return steps;
}

std::vector<char> Selected(std::uint32_t count, const std::vector<std::uint32_t>& steps) {
    std::vector<char> flags(count + 1, 0);
    for (std::uint32_t s : ValidSteps(steps, count))
        flags[s] = 1;
    return flags;
}

std::vector<std::uint32_t> Identity(std::uint32_t count) {
    std::vector<std::uint32_t> order(count);
    for (std::uint32_t i = 0; i < count; ++i)
        order[i] = i + 1;
    return order;
}

// An order that changes nothing is no move.
std::vector<std::uint32_t> OrNothing(std::vector<std::uint32_t> order) {
    for (std::size_t i = 0; i < order.size(); ++i)
        if (order[i] != i + 1)
            return order;
    return {};
}

// Walks the current pointer from where it stands to `step`.
void WalkTo(ProcedureList& list, std::uint32_t step) {
    while (list.currentNumber > step && list.currentNode->prev) {
        list.currentNode = list.currentNode->prev;
        --list.currentNumber;
    }
    while (list.currentNumber < step && list.currentNode->next) {
        list.currentNode = list.currentNode->next;
        ++list.currentNumber;
    }
    list.viewRecord = list.currentNode->record;
}

}  // namespace

std::vector<std::uint32_t> MoveUpOrder(std::uint32_t count,
                                       const std::vector<std::uint32_t>& selected) {
    const auto sel = Selected(count, selected);
    auto order = Identity(count);
    for (std::size_t i = 1; i < order.size(); ++i)
        if (sel[order[i]] && !sel[order[i - 1]])
            std::swap(order[i - 1], order[i]);
    return OrNothing(std::move(order));
}

std::vector<std::uint32_t> MoveDownOrder(std::uint32_t count,
                                         const std::vector<std::uint32_t>& selected) {
    const auto sel = Selected(count, selected);
    auto order = Identity(count);
    for (std::size_t i = order.size(); i-- > 1;)
        if (sel[order[i - 1]] && !sel[order[i]])
            std::swap(order[i - 1], order[i]);
    return OrNothing(std::move(order));
}

std::vector<std::uint32_t> MoveToOrder(std::uint32_t count,
                                       const std::vector<std::uint32_t>& selected,
                                       std::uint32_t before) {
    const auto steps = ValidSteps(selected, count);
    if (steps.empty())
        return {};
    const auto sel = Selected(count, steps);
    std::vector<std::uint32_t> order;
    order.reserve(count);
    for (std::uint32_t s = 1; s < before && s <= count; ++s)
        if (!sel[s])
            order.push_back(s);
    order.insert(order.end(), steps.begin(), steps.end());
    for (std::uint32_t s = std::max<std::uint32_t>(before, 1); s <= count; ++s)
        if (!sel[s])
            order.push_back(s);
    return OrNothing(std::move(order));
}

void ReorderSteps(ProcedureList& list, const std::vector<std::uint32_t>& order) {
    const std::uint32_t count = list.componentCount;
    if (order.size() != count || count == 0)
        return;
    std::vector<ComponentNode*> nodes;
    nodes.reserve(count);
    std::size_t current = 0;
    for (ComponentNode* n = &list.procedureHead; n && nodes.size() < count; n = n->next) {
        if (n == list.currentNode)
            current = nodes.size();
        nodes.push_back(n);
    }
    // newStep[old] is where the component of old step `old` goes.
    std::vector<std::uint32_t> newStep(count + 1, 0);
    for (std::uint32_t i = 0; i < count; ++i)
        newStep[order[i]] = i + 1;

    // Only the records whose place changes are copied.
    std::vector<std::pair<std::uint32_t, ComponentRecord>> moved;
    for (std::uint32_t i = 0; i < count; ++i)
        if (order[i] != i + 1)
            moved.emplace_back(i, nodes[order[i] - 1]->record);
    for (auto& [i, record] : moved) {
        record.setNumber(static_cast<std::uint16_t>(i + 1));
        nodes[i]->record = record;
    }

    // Every reference into the procedure follows its component. The guards
    // are those of renumbering: a goto target only with a branch condition,
    // the payload references only while their mode byte is 0.
    const auto follow = [&](long step) -> long {
        return step >= 1 && step <= static_cast<long>(count) ? newStep[step] : step;
    };
    for (ComponentNode* n : nodes) {
        ComponentRecord& r = n->record;
        if (r.hasBranch())
            r.setGotoTarget(static_cast<std::uint16_t>(follow(r.gotoTarget())));
        switch (r.typeCode()) {
            case 'G':
                if (r.u8(89) == 0)
                    r.setU16(92, static_cast<std::uint16_t>(follow(r.u16(92))));
                break;
            case 'P':
                if (r.u8(90) == 0)
                    r.setU16(94, static_cast<std::uint16_t>(follow(r.u16(94))));
                break;
            case 'T':
                if (r.u8(152) == 0)
                    r.setI16(154, static_cast<std::int16_t>(follow(r.i16(154))));
                break;
            default:
                break;
        }
    }

    const std::uint32_t now = newStep[current + 1];
    list.currentNode = nodes[now - 1];
    list.currentNumber = now;
    list.viewRecord = list.currentNode->record;
    list.modified = 1;
}

void EditCommands::copySteps(const std::vector<std::uint32_t>& steps) {
    const auto valid = ValidSteps(steps, list_.componentCount);
    if (valid.size() <= 1) {
        if (!valid.empty())
            list_.goToStep(valid.front());
        copy();
        return;
    }
    std::vector<ComponentRecord> records;
    list_.goToStep(valid.front());
    for (std::uint32_t s : valid) {
        WalkTo(list_, s);
        if (list_.currentNode->record.typeCode() != 0)
            records.push_back(list_.currentNode->record);
    }
    list_.goToStep(valid.front());
    if (records.empty())
        return;
    list_.pastePending = 1;
    list_.clipboardRecord = records.front();
    clipboard_ = std::move(records);
}

void EditCommands::cutSteps(const std::vector<std::uint32_t>& steps) {
    const auto valid = ValidSteps(steps, list_.componentCount);
    if (valid.size() <= 1) {
        if (!valid.empty())
            list_.goToStep(valid.front());
        cut();
        return;
    }
    copySteps(valid);
    deleteSteps(valid, false);
}

void EditCommands::removeSteps(const std::vector<std::uint32_t>& steps) {
    const auto valid = ValidSteps(steps, list_.componentCount);
    if (valid.size() <= 1) {
        if (!valid.empty())
            list_.goToStep(valid.front());
        remove();
        return;
    }
    deleteSteps(valid, false);
}

void EditCommands::deleteSteps(std::vector<std::uint32_t> steps, bool keepRedo) {
    // Highest first, so that the steps still to delete keep their numbers;
    // each is the view's Delete with its renumbering.
    std::sort(steps.begin(), steps.end(), std::greater<>());
    UndoEntry group;
    group.commandId = cmd::kDelete;
    list_.goToStep(steps.front());
    for (std::uint32_t s : steps) {
        WalkTo(list_, s);
        if (list_.currentNumber != s)
            continue;
        UndoEntry part;
        part.commandId = cmd::kDelete;
        part.stepNumber = list_.currentNode->record.number();
        part.record = list_.currentNode->record;
        if (list_.deleteCurrent())
            group.parts.push_back(std::move(part));
    }
    if (group.parts.empty())
        return;
    group.stepNumber = group.parts.back().stepNumber;
    undo_.push(std::move(group));
    if (!keepRedo)
        redo_.clear();
    ui_.setStatusCount(StatusCountText(list_.componentCount));
    ui_.repaint(true);
}

void EditCommands::pasteSteps() {
    // Each goes in as Insert puts one at the current place, last first, so
    // that they stand in their order and the first is current.
    const std::vector<ComponentRecord> records = clipboard_;
    for (auto it = records.rbegin(); it != records.rend(); ++it)
        insertHere(*it);
    redo_.clear();
    finishChange();
    list_.pastePending = 0;
}

std::vector<std::uint32_t> EditCommands::moveUp(const std::vector<std::uint32_t>& steps) {
    return move(cmd::kMoveUp, MoveUpOrder(list_.componentCount, steps), steps);
}

std::vector<std::uint32_t> EditCommands::moveDown(const std::vector<std::uint32_t>& steps) {
    return move(cmd::kMoveDown, MoveDownOrder(list_.componentCount, steps), steps);
}

std::vector<std::uint32_t> EditCommands::moveTo(const std::vector<std::uint32_t>& steps,
                                                std::uint32_t before) {
    return move(cmd::kMove, MoveToOrder(list_.componentCount, steps, before), steps);
}

std::vector<std::uint32_t> EditCommands::move(std::uint32_t commandId,
                                              std::vector<std::uint32_t> order,
                                              const std::vector<std::uint32_t>& steps) {
    if (!list_.documentOpen || order.empty()) {
        ui_.beep();
        return {};
    }
    ReorderSteps(list_, order);
    std::vector<std::uint32_t> newStep(order.size() + 1, 0);
    for (std::uint32_t i = 0; i < order.size(); ++i)
        newStep[order[i]] = i + 1;
    std::vector<std::uint32_t> moved;
    for (std::uint32_t s : ValidSteps(steps, list_.componentCount))
        moved.push_back(newStep[s]);
    std::sort(moved.begin(), moved.end());

    UndoEntry entry;
    entry.commandId = commandId;
    entry.stepNumber = list_.currentNumber;
    entry.order = std::move(order);
    undo_.push(std::move(entry));
    redo_.clear();
    finishChange();
    return moved;
}

void EditCommands::redo() {
    if (redo_.empty() || !list_.documentOpen)
        return;
    UndoEntry entry = std::move(redo_.back());
    redo_.pop_back();
    if (!entry.order.empty()) {
        ReorderSteps(list_, entry.order);
        undo_.push(std::move(entry));
    } else if (!entry.parts.empty()) {
        std::vector<std::uint32_t> steps;
        for (const UndoEntry& part : entry.parts)
            steps.push_back(part.stepNumber);
        deleteSteps(std::move(steps), true);
        return;
    } else {
        switch (entry.commandId) {
            case cmd::kChange:
                list_.goToStep(entry.stepNumber);
                undo_.push(cmd::kChange, list_.currentNode->record.number(),
                           list_.currentNode->record);
                list_.currentNode->record = entry.record;
                list_.currentNode->record.setNumber(
                    static_cast<std::uint16_t>(list_.currentNumber));
                break;
            case cmd::kDelete:
                list_.goToStep(entry.stepNumber);
                undo_.push(cmd::kDelete, list_.currentNode->record.number(),
                           list_.currentNode->record);
                list_.deleteCurrent();
                break;
            case cmd::kAppend:
                list_.appendRecord(entry.record);
                undo_.push(cmd::kAppend, list_.currentNode->record.number(),
                           list_.currentNode->record);
                break;
            default:
                return;
        }
    }
    list_.viewRecord = list_.currentNode->record;
    finishChange();
}

void EditCommands::clearHistory() {
    undo_.clear();
    redo_.clear();
}

}  // namespace quelvari

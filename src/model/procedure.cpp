#include "model/procedure.h"

#include "model/record_reader.h"

#include <algorithm>
#include <new>
#include <type_traits>

#if defined(__SANITIZE_ADDRESS__)
#define QUELVARI_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUELVARI_ASAN 1
#endif
#endif
#ifdef QUELVARI_ASAN
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#endif

namespace quelvari {

ProcedureList::~ProcedureList() {
    freeProcedure();
}

// Under AddressSanitizer, slab memory that holds no live node (released
// nodes, the unused rest of a slab) is poisoned, so that a use after a delete
// is reported even though the slab itself is still allocated.
ComponentNode* ProcedureList::allocateNode() {
    static_assert(std::is_trivially_destructible_v<ComponentNode>);
    static_assert(sizeof(ComponentRecord) == rec::kRecordSize && alignof(ComponentRecord) == 1);
    static_assert(kSlabNodes * sizeof(ComponentRecord) % alignof(ComponentNode) == 0);
    ComponentNode* node;
    if (!freeNodes_.empty()) {
        node = freeNodes_.back();
        freeNodes_.pop_back();
        ASAN_UNPOISON_MEMORY_REGION(node, sizeof(ComponentNode));
        ASAN_UNPOISON_MEMORY_REGION(&node->record, sizeof(ComponentRecord));
        node->prev = node->next = nullptr;
        return node;
    }
    if (slabUsed_ == kSlabNodes) {
        // Slab storage is left uninitialised: every caller sets the record.
        slabs_.push_back(std::make_unique_for_overwrite<std::byte[]>(kSlabBytes));
        slabUsed_ = 0;
        ASAN_POISON_MEMORY_REGION(slabs_.back().get(), kSlabBytes);
    }
    std::byte* slab = slabs_.back().get();
    std::byte* record = slab + sizeof(ComponentRecord) * slabUsed_;
    std::byte* place =
        slab + kSlabNodes * sizeof(ComponentRecord) + sizeof(ComponentNode) * slabUsed_;
    ++slabUsed_;
    ASAN_UNPOISON_MEMORY_REGION(record, sizeof(ComponentRecord));
    ASAN_UNPOISON_MEMORY_REGION(place, sizeof(ComponentNode));
    return new (place) ComponentNode(*new (record) ComponentRecord(Uninitialised{}));
}

void ProcedureList::releaseNode(ComponentNode* node) {
    freeNodes_.push_back(node);
    ASAN_POISON_MEMORY_REGION(&node->record, sizeof(ComponentRecord));
    ASAN_POISON_MEMORY_REGION(node, sizeof(ComponentNode));
}

int ProcedureList::freeProcedure() {
    noteStepChange(StepChange::Kind::kAll, 0);
    // Every node behind procedureHead lives in the slabs.
    for (auto& slab : slabs_)
        ASAN_UNPOISON_MEMORY_REGION(slab.get(), kSlabBytes);
    slabs_.clear();
    slabUsed_ = kSlabNodes;
    freeNodes_.clear();
    procedureHead.prev = procedureHead.next = nullptr;
    procedureHead.record.clear();
    tail_ = &procedureHead;
    currentNode = &procedureHead;
    return 0;
}

void ProcedureList::noteStepChange(StepChange::Kind kind, std::uint32_t step) {
    using Kind = StepChange::Kind;
    StepChange& c = stepChange_;
    if (kind == Kind::kAll || c.kind == Kind::kAll) {
        c = {Kind::kAll, 0, 0};
    } else if (c.kind == Kind::kNone) {
        c = {kind, step, 1};
    } else if (kind == Kind::kInserted && c.kind == kind && step >= c.first &&
               step <= c.first + c.count) {
        ++c.count;  // next to or inside the inserted block
    } else if (kind == Kind::kRemoved && c.kind == kind &&
               (step == c.first || step + 1 == c.first)) {
        c.first = std::min(c.first, step);  // the step behind or before the block
        ++c.count;
    } else {
        c = {Kind::kAll, 0, 0};
    }
}

void ProcedureList::appendNode(const ComponentRecord& record) {
    appendUnfilledNode() = record;
}

ComponentRecord& ProcedureList::appendUnfilledNode() {
    noteStepChange(StepChange::Kind::kAll, 0);
    ComponentNode* node = allocateNode();
    node->prev = tail_;
    node->next = nullptr;
    tail_->next = node;
    tail_ = node;
    ++componentCount;
    return node->record;
}

void ProcedureList::dropTail(std::size_t n) {
    if (n > 0)
        noteStepChange(StepChange::Kind::kAll, 0);
    for (; n > 0 && tail_ != &procedureHead; --n) {
        ComponentNode* node = tail_;
        tail_ = node->prev;
        tail_->next = nullptr;
        if (currentNode == node)
            currentNode = tail_;
        releaseNode(node);
        --componentCount;
    }
}

namespace {

template <typename T>
T shifted(T value, bool inserted) {
    return static_cast<T>(inserted ? value + 1 : value - 1);
}

}  // namespace

void ProcedureList::renumber(std::uint16_t pivot, bool inserted) {
    std::uint16_t n = 1;
    for (ComponentNode* node = &procedureHead; node; node = node->next, ++n) {
        ComponentRecord& r = node->record;
        if (r.number() != n)
            r.setNumber(n);
        if (r.hasBranch() && r.gotoTarget() > pivot)
            r.setGotoTarget(shifted(r.gotoTarget(), inserted));
        switch (r.typeCode()) {
            case 'G':
                if (r.u16(92) > pivot && r.u8(89) == 0)
                    r.setU16(92, shifted(r.u16(92), inserted));
                break;
            case 'P':
                if (r.u16(94) > pivot && r.u8(90) == 0)
                    r.setU16(94, shifted(r.u16(94), inserted));
                break;
            case 'T':
                if (r.i16(154) > static_cast<int>(pivot) && r.u8(152) == 0)
                    r.setI16(154, shifted(r.i16(154), inserted));
                break;
            default:
                break;
        }
    }
}

void ProcedureList::insertAtCurrent(const ComponentRecord& record) {
    ComponentNode* cur = currentNode;
    const std::uint16_t n = cur->record.number();
    noteStepChange(StepChange::Kind::kInserted, n);
    ComponentNode* moved = allocateNode();
    moved->record = cur->record;
    moved->next = cur->next;
    moved->prev = cur;
    if (cur->next)
        cur->next->prev = moved;
    cur->next = moved;
    if (tail_ == cur)
        tail_ = moved;
    cur->record = record;
    cur->record.setRecordMark(kRecordMarkMemory);
    cur->record.setNumber(n);
    ++componentCount;
    renumber(n, true);
    viewRecord = cur->record;
    modified = 1;
    pastePending = 0;
}

bool ProcedureList::deleteCurrent() {
    ComponentNode* cur = currentNode;
    if (viewRecord.typeCode() == 0 && !cur->next)
        return false;
    noteStepChange(StepChange::Kind::kRemoved, cur->record.number());
    if (ComponentNode* following = cur->next) {
        cur->record = following->record;
        cur->next = following->next;
        if (following->next)
            following->next->prev = cur;
        if (tail_ == following)
            tail_ = cur;
        releaseNode(following);
    } else if (ComponentNode* before = cur->prev) {
        before->next = nullptr;
        tail_ = before;
        releaseNode(cur);
        currentNode = before;
    } else {
        cur->record.setTypeCode(0);
    }
    modified = 1;
    --componentCount;
    renumber(currentNode->record.number(), false);
    viewRecord = currentNode->record;
    currentNumber = viewRecord.number();
    return true;
}

void ProcedureList::appendRecord(const ComponentRecord& record) {
    noteStepChange(StepChange::Kind::kInserted, componentCount + 1);
    currentNumber = componentCount + 1;
    currentNode = tail_;
    if (currentNode->record.typeCode() != 0) {
        ComponentNode* node = allocateNode();
        node->prev = tail_;
        tail_->next = node;
        tail_ = node;
        currentNode = node;
    }
    ++componentCount;
    currentNode->record = record;
    currentNode->record.setNumber(static_cast<std::uint16_t>(componentCount));
    currentNode->record.setRecordMark(kRecordMarkMemory);
    viewRecord = currentNode->record;
    modified = 1;
}

void ProcedureList::goToStep(std::uint32_t step) {
    currentNode = &procedureHead;
    currentNumber = 1;
    while (currentNumber < step && currentNode->next) {
        currentNode = currentNode->next;
        ++currentNumber;
    }
    viewRecord = currentNode->record;
}

std::size_t ProcedureList::nodeCount() const {
    std::size_t count = 0;
    for (const ComponentNode* n = &procedureHead; n; n = n->next)
        ++count;
    return count;
}

bool HasRoomForStep(const ProcedureList& list) {
    static_assert(kMaxSteps == kMaxProcedureSteps);
    return list.componentCount < kMaxSteps;
}

}  // namespace quelvari

// The procedure in memory: a doubly linked list of nodes that each stand for
// one component record, and the state that goes with the one procedure a
// program instance edits. The application owns exactly one ProcedureList;
// tests create their own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "model/record.h"

namespace quelvari {

// A node is bound to its record for life: the records of a slab lie side by
// side apart from the links, so that a file is read into them in one piece.
// Records move between nodes by value; nodes are never copied.
struct ComponentNode {
    ComponentNode* prev = nullptr;
    ComponentRecord& record;
    ComponentNode* next = nullptr;

    explicit ComponentNode(ComponentRecord& storage) : record(storage) {}
    ComponentNode(const ComponentNode&) = delete;
    ComponentNode& operator=(const ComponentNode&) = delete;
};

class ProcedureList;

// Step numbers are 16-bit, so a procedure holds at most 65535 steps (the
// limit a file is read with). True while one more step fits: Append, Insert
// and Paste are refused at the limit, and Save refuses a longer procedure.
bool HasRoomForStep(const ProcedureList& list);
// Own text of that refusal ("%d" is the limit).
inline constexpr std::uint32_t kTextProcedureFull = 60901;
inline constexpr std::uint32_t kMaxSteps = 65535;

class ProcedureList {
  public:
    ProcedureList() = default;
    ~ProcedureList();
    ProcedureList(const ProcedureList&) = delete;
    ProcedureList& operator=(const ProcedureList&) = delete;

  private:
    ComponentRecord headRecord_{};

  public:
    // The first node is part of the object and never freed; an empty procedure
    // is this node with type code 0.
    ComponentNode procedureHead{headRecord_};
    ComponentNode* currentNode = &procedureHead;
    std::uint32_t componentCount = 0;
    std::uint32_t currentNumber = 0;
    std::uint32_t modified = 0;
    std::uint32_t documentOpen = 0;
    std::uint32_t oldFormat = 0;
    ComponentRecord viewRecord{};
    ComponentRecord editRecord{};
    ComponentRecord clipboardRecord{};
    std::uint32_t pastePending = 0;
    std::string documentPath;
    std::string lastPath;

    // Deletes every node behind procedureHead, then zero-fills procedureHead
    // (links and record). currentNode is set back to procedureHead.
    int freeProcedure();

    // Links a zero-filled node holding `record` behind the tail and counts it.
    void appendNode(const ComponentRecord& record);
    // Links a node behind the tail, counts it, and returns its record, whose
    // bytes are undefined: the caller must fill all 800 of them (the file
    // reader reads straight into it).
    ComponentRecord& appendUnfilledNode();
    // Unlinks and releases the last `n` nodes behind procedureHead and
    // uncounts them (the reader's nodes that no record filled).
    void dropTail(std::size_t n);

    // Renumbers every step 1..n and shifts the step references that point
    // behind `pivot`: the goto target of a record with a branch condition, the
    // step reference of 'G' (u16 at 92 while byte 89 is 0), 'P' (u16 at 94
    // while byte 90 is 0) and 'T' (i16 at 154 while byte 152 is 0, compared
    // signed so that a negative reference never moves). References equal to
    // the pivot stay: after an insertion at step k, a branch to k leads to the
    // new component.
    void renumber(std::uint16_t pivot, bool inserted);

    // Editing primitives of the view's commands. Each keeps componentCount,
    // currentNumber, viewRecord and modified current and renumbers.
    //
    // Insert before the current component: the current record moves into a new
    // node behind it and `record` takes its place (record mark 35, the step
    // number of the place kept).
    void insertAtCurrent(const ComponentRecord& record);
    // Deletes the current component. The following record moves up into the
    // current node; at the end the previous node becomes current; the only
    // node is emptied (type 0). Returns false when there is nothing to delete.
    bool deleteCurrent();
    // Appends `record` at the end (into procedureHead while it is empty) and
    // makes it current.
    void appendRecord(const ComponentRecord& record);

    // Moves the current pointer to step `step` (1-based), stopping at the end.
    void goToStep(std::uint32_t step);

    ComponentNode* tail() { return tail_; }
    // Number of nodes in the list, counted by walking it.
    std::size_t nodeCount() const;

    // What the steps went through since it was last taken, for a list of all
    // steps that follows the edits without reading every step again: one
    // block of `count` steps inserted in front of step `first` (they now stand
    // from `first` on), or removed from step `first` on. Records move between nodes (an insertion
    // moves the current record into a new node behind it), so only these
    // step positions say which step came or went. Anything else (a file read,
    // the procedure freed, edits that do not join into one block) is kAll.
    struct StepChange {
        enum class Kind { kNone, kInserted, kRemoved, kAll };
        Kind kind = Kind::kNone;
        std::uint32_t first = 0;  // 1-based
        std::uint32_t count = 0;
        bool operator==(const StepChange&) const = default;
    };
    // Hands the change over and starts a new one.
    StepChange takeStepChange() { return std::exchange(stepChange_, {}); }

  private:
    // Nodes behind procedureHead come from slabs owned by the list: a file of
    // ten thousand steps costs a few dozen allocations instead of ten
    // thousand, and freeing the procedure releases the slabs whole. A slab
    // holds its records side by side, then the nodes bound to them, so the
    // records of nodes appended one after another are one run of bytes.
    // Deleted nodes go to a free list that later insertions reuse (poisoned
    // for AddressSanitizer meanwhile).
    static constexpr std::size_t kSlabNodes = 256;
    static constexpr std::size_t kSlabBytes =
        kSlabNodes * (sizeof(ComponentRecord) + sizeof(ComponentNode));
    ComponentNode* allocateNode();
    void releaseNode(ComponentNode* node);
    void noteStepChange(StepChange::Kind kind, std::uint32_t step);

    ComponentNode* tail_ = &procedureHead;
    std::vector<std::unique_ptr<std::byte[]>> slabs_;
    std::size_t slabUsed_ = kSlabNodes;
    std::vector<ComponentNode*> freeNodes_;
    StepChange stepChange_;
};

}  // namespace quelvari

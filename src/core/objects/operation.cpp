#include "core/objects/operation.hpp"

#include <algorithm>

#include "generic/make_room.hpp"

namespace lumvex::inside {

// KeepWhatIsDone() may have dropped this operation's first steps already.
bool Operation::HasSteps() const noexcept { return !thread_.steps.empty() && thread_.stepsEver > steps_; }

void Operation::KeepSteps() noexcept {
    while (HasSteps()) {
        --thread_.stepsEver;
        thread_.steps.pop_back();
    }
}

void Operation::TakeBack() noexcept {
    while (HasSteps()) {
        const Step step = std::move(thread_.steps.back());
        thread_.steps.pop_back();
        --thread_.stepsEver;
        step.TakeBack();
    }
    const std::size_t keep = std::max(events_, thread_.eventsKept);
    while (!thread_.queue.empty() && thread_.eventsEver > keep) {
        const PendingEvent event = std::move(thread_.queue.back());
        thread_.queue.pop_back();
        --thread_.eventsEver;
        event.object->OwnEntry().eventWaits = false;
    }
}

void RecordStep(Object& object, void* detail, TakeStepBack back) {
    ThreadContext& thread = CurrentThread();
    if (thread.depth == 0) return;
    thread.steps.emplace_back(object, detail, back);
    ++thread.stepsEver;
}

void RecordStep(Entry& entry, TakeEntryBack back) {
    ThreadContext& thread = CurrentThread();
    if (thread.depth == 0) return;
    thread.steps.emplace_back(entry, back);
    ++thread.stepsEver;
}

void MakeRoomForSteps(std::size_t count) { MakeRoom(CurrentThread().steps, count); }

void KeepWhatIsDone() noexcept {
    ThreadContext& thread = CurrentThread();
    thread.steps.clear();
    thread.eventsKept = thread.eventsEver;
}

}  // namespace lumvex::inside

#include "core/objects/operation.hpp"

#include <algorithm>

#include "generic/make_room.hpp"

namespace lumvex::inside {

// KeepWhatIsDone() may have dropped this operation's first steps already.
bool Operation::HasSteps() const noexcept { return !thread_.steps.empty() && thread_.StepsEver() > steps_; }

void Operation::KeepSteps() noexcept {
    while (HasSteps()) thread_.steps.pop_back();
}

void Operation::TakeBack() noexcept {
    while (HasSteps()) {
        const Step step = std::move(thread_.steps.back());
        thread_.steps.pop_back();
        step.TakeBack();
    }
    const std::size_t keep = std::max(events_, thread_.eventsKept);
    while (!thread_.queue.empty() && thread_.EventsEver() > keep) {
        const PendingEvent event = std::move(thread_.queue.back());
        thread_.queue.pop_back();
        event.object->OwnEntry().eventWaits = false;
    }
}

void RecordStep(Object& object, void* detail, TakeStepBack back) {
    ThreadContext& thread = CurrentThread();
    if (thread.depth != 0) thread.steps.emplace_back(object, detail, back);
}

void RecordStep(Entry& entry, TakeEntryBack back) {
    ThreadContext& thread = CurrentThread();
    if (thread.depth != 0) thread.steps.emplace_back(entry, back);
}

void MakeRoomForSteps(std::size_t count) { MakeRoom(CurrentThread().steps, count); }

void KeepWhatIsDone() noexcept {
    ThreadContext& thread = CurrentThread();
    thread.stepsGone += thread.steps.size();
    thread.steps.clear();
    thread.eventsKept = thread.EventsEver();
}

}  // namespace lumvex::inside

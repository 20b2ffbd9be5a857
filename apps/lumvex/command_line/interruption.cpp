#include "command_line/interruption.hpp"

#include <atomic>

#include "command_line/terminal.hpp"

namespace lumvex::app {

namespace {

enum class Phase { Reading, Changing, Saving, Saved };

std::atomic<Phase> phase = Phase::Reading;
std::atomic<bool> isWanted = false;
static_assert(std::atomic<Phase>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

// Called at any moment: touches nothing but the two above.
const char* LastWords() {
    switch (phase) {
        case Phase::Changing:
            return "lumvex: interrupted, nothing was changed\n";
        case Phase::Saving:
            return isWanted.exchange(true) ? "lumvex: interrupted; the save was done completely or not at all\n"
                                           : nullptr;
        case Phase::Saved:
            return "lumvex: interrupted after the document was saved\n";
        case Phase::Reading:
            break;
    }
    return "lumvex: interrupted\n";
}

}  // namespace

void ListenForInterruption() { OnInterruption(LastWords); }

void DocumentIsBeingChanged() { phase = Phase::Changing; }

SavingNow::SavingNow() { phase = Phase::Saving; }

SavingNow::~SavingNow() {
    if (phase == Phase::Saving) phase = Phase::Changing;
}

void SavingNow::Continue() const {
    if (isWanted) throw Interrupted();
}

void SavingNow::Done() { phase = Phase::Saved; }

}  // namespace lumvex::app

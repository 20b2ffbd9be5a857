// What an interruption (Ctrl-C, a request to end) does: a run that has saved nothing ends at once and says so; a save
// ends between two objects and is taken back.
#pragma once

namespace lumvex::app {

// Thrown by SavingNow::Continue(); no error, so that nobody handles it but main.
struct Interrupted {};

void ListenForInterruption();

// From now on an interruption says that nothing was changed.
void DocumentIsBeingChanged();

// While it lives a document is saved: an interruption is kept for the next Continue().
class SavingNow {
public:
    SavingNow();
    ~SavingNow();
    SavingNow(const SavingNow&) = delete;
    SavingNow& operator=(const SavingNow&) = delete;

    void Continue() const;  // throws Interrupted when the program was interrupted
    void Done();            // all was saved
};

}  // namespace lumvex::app

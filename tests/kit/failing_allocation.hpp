// Lets allocations of this program fail: linked in, it replaces the global operator new.
#pragma once

namespace lumvex::tests {

// From here on the allocation number `at`, counted from 0, of the calling thread fails, and so do all behind it unless
// it is to fail alone.
void FailAllocation(long at, bool alone) noexcept;
// Ends that; has one failed since?
bool EndFailingAllocation() noexcept;

// Meanwhile none fails or is counted.
class AllocationsSucceed {
public:
    AllocationsSucceed() noexcept;
    ~AllocationsSucceed();
    AllocationsSucceed(const AllocationsSucceed&) = delete;
    AllocationsSucceed& operator=(const AllocationsSucceed&) = delete;

private:
    long left_;
};

}  // namespace lumvex::tests

// Failures as the functions of include/lumvex throw them: these are no calls of a published interface, so that no
// status is returned.
#pragma once

#include <string>

#include "core/base/strings.hpp"
#include "lumvex/client.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::inside {

inline std::string TextOfFailure(const Failure& failure) {
    if (failure.MessageNumber() != 0) return ToUtf8(StringOf(failure.MessageNumber()));
    if (failure.Status() == kReadFault) return "the record is shorter than what it says it holds";
    return failure.what();
}

// Runs work for a client: failures of the model and of the engine become lumvex::Error.
template <class Work>
auto ForClient(Work&& work) {
    try {
        return OnStorage(work);
    } catch (const Failure& failure) {
        throw lumvex::Error(failure.Status(), TextOfFailure(failure));
    }
}

}  // namespace lumvex::inside

// Failures as the published functions throw them, which are no calls of an interface.
#pragma once

#include <string>

#include "core/base/strings.hpp"
#include "lumvex/client.hpp"
#include "storage/document/document_file.hpp"
#include "storage/records/failures.hpp"

namespace lumvex::inside {

inline std::string TextOfFailure(const Failure& failure) {
    if (failure.MessageNumber() != 0) return ToUtf8(StringOf(failure.MessageNumber()));
    if (failure.Status() == kReadFault) return "the record is shorter than what it says it holds";
    return failure.what();
}

template <class Work>
auto Published(Work&& work) {
    try {
        return OnStorage(work);
    } catch (const Failure& failure) {
        throw lumvex::Error(failure.Status(), TextOfFailure(failure));
    }
}

}  // namespace lumvex::inside

// How errors of the compound-file engine become failures of the model: the same status, without a message.
#pragma once

#include <utility>

#include "core/base/failure.hpp"
#include "storage/compound/base/error.hpp"

namespace lumvex::inside {

inline constexpr HRESULT kAccessDenied = static_cast<HRESULT>(compound::Status::AccessDenied);
inline constexpr HRESULT kMediumFull = static_cast<HRESULT>(compound::Status::MediumFull);
inline constexpr HRESULT kReadFault = static_cast<HRESULT>(compound::Status::ReadFault);

// Runs work on the engine; its errors become failures of the model.
template <class Work>
decltype(auto) OnStorage(Work&& work) {
    try {
        return std::forward<Work>(work)();
    } catch (const compound::StorageError& error) {
        throw Failure(static_cast<HRESULT>(error.status()), error.what());
    }
}

}  // namespace lumvex::inside

#include "core/objects/guard.hpp"

#include <new>
#include <stdexcept>

#include "lumvex/host.hpp"

namespace lumvex::inside {

HRESULT TranslateException(std::u16string_view source) noexcept {
    HRESULT status = E_UNEXPECTED;
    try {
        throw;
    } catch (const PassedOn& inner) {
        return inner.Status();
    } catch (const Failure& failure) {
        if (failure.MessageNumber() != 0) return Report(failure.MessageNumber(), source);
        status = failure.Status();
    } catch (const COstrelException& fault) {
        try {
            return Report(InternalErrorText(fault.File(), fault.Line()), StatusOf(Message::InternalError), source);
        } catch (const std::bad_alloc&) {
            status = StatusOf(Message::InternalError);
        }
    } catch (const std::bad_alloc&) {
        status = E_OUTOFMEMORY;
    } catch (const std::length_error&) {
        status = E_OUTOFMEMORY;
    } catch (...) {
        status = E_UNEXPECTED;
    }
    SetErrorInfo(0, nullptr);
    return status;
}

}  // namespace lumvex::inside

namespace lumvex {

SeveralCalls::SeveralCalls() {
    inside::ThreadContext& thread = inside::CurrentThread();
    if (!thread.HoldsModuleLock()) inside::ModuleLock().lock();
    ++thread.several;
}

SeveralCalls::~SeveralCalls() {
    inside::ThreadContext& thread = inside::CurrentThread();
    --thread.several;
    if (!thread.HoldsModuleLock()) inside::ModuleLock().unlock();
}

}  // namespace lumvex

#include "model/project/Measurement.hpp"

#include <algorithm>

#include "automation/local_time.hpp"
#include "model/project/Experiment.hpp"

namespace lumvex::inside {

namespace {
constexpr LONG kUsualRate = 48000;  // the display name leaves it out
constexpr unsigned kLastSwapped = 0, kLastStartInSeconds = 6;

// The columns with the first two exchanged; each has `length` elements.
template <class T>
std::vector<T> FirstTwoSwapped(std::vector<T> columns, std::size_t length) {
    std::swap_ranges(columns.begin(), columns.begin() + static_cast<std::ptrdiff_t>(length),
                     columns.begin() + static_cast<std::ptrdiff_t>(length));
    return columns;
}

}  // namespace

LONG CMeasurement::SampleRate() const {
    ResolveRoot();
    return sampleRate_.value;
}

std::u16string CMeasurement::DisplayName() {
    std::u16string text = Name() + u" (";
    if (sampleRate_.value != kUsualRate) text += FromUtf8(std::to_string(sampleRate_.value / 1000)) + u"kHz ";
    if (const Ref<Object> experiment = Experiment.Get(*this)) text += experiment->DisplayName() + u" - ";
    return text + UserDate(timestamp) + u" " + UserTime(timestamp) + u")";
}

// Records of version 0 have the first two channels exchanged. Up to version 6 the start of the window is in seconds
// where it is below 1; the end was always in milliseconds.
void CMeasurement::Upgrade(VersionWord from) {
    if (from.Writer() <= kLastSwapped) SwapFirstChannels();
    if (from.Writer() <= kLastStartInSeconds && MeasureStart.value < 1.0f) MeasureStart.value *= 1000.0f;
}

void CMeasurement::SwapFirstChannels() {
    if (!Data.slot || Data.slot->Shape().size() != 2 || Data.slot->Shape()[1].cElements < 2) return;
    const StoredArray& stored = *Data.slot;
    const std::size_t rows = stored.Shape()[0].cElements;
    if (stored.Type() == VT_BSTR) {
        Data.slot = StoredArray::Make(stored.Shape(), FirstTwoSwapped(stored.Texts(), rows));
        return;
    }
    std::vector<std::byte> elements(stored.ByteSize());
    stored.CopyTo(elements);
    Data.slot = StoredArray::Make(stored.Type(), stored.Shape(),
                                  FirstTwoSwapped(std::move(elements), rows * StoredArray::ElementSize(stored.Type())));
}

}  // namespace lumvex::inside

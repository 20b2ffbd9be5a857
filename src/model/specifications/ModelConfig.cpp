#include "model/specifications/ModelConfig.hpp"

#include "storage/records/record_table.hpp"

namespace lumvex::inside {

// Before version 2 a record began with an optional reference of another kind, which nobody needs any more; version 0
// had nothing else and meant the first configuration.
void CModelConfig::LoadRecord(RecordReader& reader, VersionWord version) {
    constexpr std::uint64_t kOldReference = 16 + 4;
    if (version.Writer() < 2 && reader.U16() != 0) reader.Skip(kOldReference);
    if (version.Writer() == 0)
        Config.Point(LX_SINGLEAMP);
    else
        LoadTable(*this, reader, version);
}

}  // namespace lumvex::inside

// Measurement files as a document keeps them, and turned back into what they were.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "files/measurement_file.hpp"
#include "lumvex/lumvex.hpp"
#include "objects/node.hpp"

namespace lumvex::app {

// A microphone's calibration, as the entries of limits and crossovers are kept: frequency and level, or frequency,
// level and phase, of one point after the other in one channel. Without frequencies there are only levels.
Array CalibrationEntries(const MeasurementFile& file);

// Why a library could not tell the file's frequencies from its levels; empty: it can.
std::string ProblemOfCalibration(const MeasurementFile& file);

// A microphone's scale for a sensitivity (dB): a new microphone has 1, which stands for none.
float ScaleOf(const std::optional<double>& sensitivity);
std::optional<double> SensitivityOf(float scale);

// Where the file's start time goes, which a datum has no property for: of a speaker's measurement MeasureStart (ms),
// the beginning of what is analysed, is time zero; the ConfigData of a room's measurement is the start time (s). A file
// without one takes that of an earlier file away.
void StoreStartTime(const std::optional<double>& seconds, Measurement measurement);
void StoreStartTime(const std::optional<double>& seconds, RoomMeasurement measurement);

// The properties of a class that can be arrays: "Data", "LimitData".
std::vector<const MemberDescription*> ArrayProperties(const InterfaceDescription& type);

// An array of an item as the file that it came from or could be. Throws Error for an array that holds no numbers. A
// table of limits, crossovers or an equaliser becomes plain numbers with a row for each entry and a header that names
// its columns. An empty array gives a file without rows. `header`: what is kept of the file's header besides.
MeasurementFile FileFrom(const Node& item, const MemberDescription& property, const std::string& header = {});

// Says in words where the file and what the document has differ first; nothing when every bit is the same.
std::optional<std::string> DifferenceOf(const MeasurementFile& file, const MeasurementFile& stored);

}  // namespace lumvex::app

// Finds sound files that end too early: their decoders take the missing samples for a shorter file, or even run forever
// (libsndfile 1.2 in a .caf file that ends within the header of a chunk).
#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <vector>

namespace lumvex::app {

// Compares the length that the header gives for the samples with the length of the file, for the formats that are made
// of chunks (RIFF, RIFX, RF64, FORM, W64, CAF) and for AU. Returns what is wrong; nothing when all samples are there or
// the file has another format. The stream's position is not defined afterwards.
[[nodiscard]] std::optional<std::string> MissingSamples(std::istream& in, std::uint64_t length);

// The IDs of the chunks of a RIFF, RIFX or RF64 file that hold neither the samples nor how to read them: "bext",
// "LIST". Each once, in the file's order.
[[nodiscard]] std::vector<std::string> OtherChunks(std::istream& in, std::uint64_t length);

}  // namespace lumvex::app

// The curves of a trace as numbers and words: what pages pack and pictures draw.
#pragma once

#include <string>
#include <vector>

#include "report/traces.hpp"

namespace lumvex::app {

// Of an impulse trace: all its curves, and how they were computed.
struct ComputedTrace {
    acoustics::Analysis analysis;
    double sampleStep = 1;                                          // of the samples in a page
    std::vector<std::string> method = {};                           // sentences
    std::vector<std::pair<std::string, std::string>> results = {};  // "Reverberation time T20", "0.31 s"
};

ComputedTrace Compute(const Trace& trace, const ImpulseTrace& data);

// What a level of the trace is relative to: "dB SPL", "dB re full scale", "dB".
const char* LevelUnit(const Trace& trace);

// All of a trace for a page.
std::string PackedTrace(const Trace& trace);

}  // namespace lumvex::app

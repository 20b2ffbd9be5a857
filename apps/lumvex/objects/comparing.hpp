// How two objects of one class differ, property by property.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "objects/arrays.hpp"
#include "objects/properties.hpp"

namespace lumvex::app {

// Two arrays of one shape, compared bit for bit.
struct ArrayDifference {
    std::size_t count = 0, differing = 0;  // elements
    double largest = 0;                    // difference of two finite numbers; infinity when only one of them is finite
    std::size_t row = 0, column = 0;       // where it is first, counted from 1
};

struct Difference {
    Property property;
    std::string before, after;             // as ValueText() has them
    Json beforeJson, afterJson;            // arrays as summaries
    std::optional<ArrayDifference> array;  // of arrays of one shape and type
};

// Compares what documents keep of objects that may be in two documents. References are the same when they lead to
// objects of one ID or of one address.
class Comparison {
public:
    std::vector<Difference> Of(const Node& before, const Node& after);

private:
    bool IsSame(const Property& property, const VARIANT& before, const VARIANT& after, const Node& left,
                const Node& right);

    Paths left_, right_;
};

std::string DifferenceText(const Difference& difference);  // "SampleRate: 48000 -> 44100"
Json DifferenceJson(const Difference& difference);

}  // namespace lumvex::app

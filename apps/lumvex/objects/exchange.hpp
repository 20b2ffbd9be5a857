// Objects with everything below them as JSON, and such JSON as objects of a document again. Nothing is lost but the
// IDs, which are new: numbers keep every bit, arrays their shape, and references lead to the same addresses.
//
//     {"format": "lumvex objects", "version": 1, "root": "CProject", "objects": [
//         {"address": "Data/woofer", "class": "CDatum", "collection": "Data", "Name": "woofer", "SampleRate": 0,
//          "Data": {"rows": 3, "columns": 1, "type": "float", "values": [84.5, 86.1, 86]}, ...}]}
//
// Keys in capital letters are published names: properties, indexed ones as lists of their places, and collections,
// which are lists of their members.
#pragma once

#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "objects/address.hpp"
#include "objects/walking.hpp"

namespace lumvex::app {

// Writes one array at a time: memory does not grow with the number of objects. What cannot be read is told and left
// out.
void WriteObjects(std::ostream& out, const std::vector<Node>& objects, const Unreadable& unreadable);

// Adds the objects to the document: each to the collection that it was in, which has to be there. What has the name
// already is refused, or with `replace` gets the values; nothing is ever removed. The stream has to be able to seek;
// one of its objects at a time is in memory. Answers the addresses. Throws PropertyError, which says where in the JSON
// it went wrong; the document is not to be saved then.
std::vector<std::string> ReadObjects(std::istream& in, const Addresses& addresses, const Node& root, bool replace);

}  // namespace lumvex::app

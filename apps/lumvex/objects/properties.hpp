// The properties of any object, by their published names: read as text, checked and written.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "objects/address.hpp"
#include "objects/node.hpp"

namespace lumvex::app {

// A property that there is not, or a value that it does not take. what(): "MagTol takes a number (dB), found "x"".
class PropertyError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A property of an object, or one place of an indexed one.
struct Property {
    const MemberDescription* member = nullptr;
    std::vector<long> indexes = {};  // one for each parameter

    std::string Name() const;  // "MagTol", "FilterQHi(2)"
};

// Every place of an indexed property: FilterQHi(1) to FilterQHi(6); the property itself where it has no index.
std::vector<Property> PlacesOf(const MemberDescription& member);

// What objects of the interface tell: values and references to others, its own properties before those of the base.
std::vector<const MemberDescription*> ShownProperties(const InterfaceDescription& type);

// Those of them that a document keeps and that can be put: what makes two objects the same.
std::vector<const MemberDescription*> ContentOf(const InterfaceDescription& type);

// Can an array be put into the property?
bool IsArrayProperty(const MemberDescription& member);

// The properties that a name means, regardless of case; the beginning of one name alone will do. "FilterQHi" means all
// its places, "FilterQHi(2)" the one. Throws PropertyError, which lists what there is.
std::vector<Property> FindProperties(const InterfaceDescription& type, std::string_view name);

// The same among some properties. `none` begins the text of an error: "Correction has no setting".
std::vector<Property> FindAmong(const std::vector<const MemberDescription*>& members, const std::string& none,
                                std::string_view name);

std::string FamilyName(const MemberDescription& member);  // "FilterQHi(1..6)", with all places
bool IsNumber(const MemberDescription& member);           // and no choice among words

// ---- values ----

// A date as ISO 8601, "2024-05-03T21:05:00"; one that is between two seconds, or no date of the calendar, as its number
// of days.
std::string DateText(DATE date);
std::optional<DATE> ReadDate(
    std::string_view text);  // the same, without the time of day, with a blank for the T, "now"

// The words of an enumeration's value: "min-error", "analog-in+microphone-in" of bits; the number where it has none.
std::string WordText(const EnumerationDescription& enumeration, long value);
std::optional<long> ReadWord(const EnumerationDescription& enumeration, std::string_view text);
std::string WordsText(const EnumerationDescription& enumeration);  // "min-delay, min-error": all that can be chosen

// A value as people write it and as SetText() takes it; an array as its summary.
std::string ValueText(const Property& property, const VARIANT& value, Paths& paths, const Node& root);
std::string ValueText(const Node& object, const Property& property, Paths& paths);

// Where a referred object is, from the document whose root this is: in its library "Specifications/Acme/Alpha".
std::string TargetText(const Node& target, const Node& root, Paths& paths);

// The unit of what ValueText() prints: none for dates, which are not printed as days.
std::string_view UnitOf(const MemberDescription& member);

// What a property takes: "one of min-delay, min-error", "a whole number from 0 to 1", "a number (dB)".
std::string Expected(const MemberDescription& member);

// The value that a text means for the property, checked against its type, range, unit and words; the addresses find
// objects that are referred to. Throws PropertyError, FileError for an address that leads nowhere, and DocumentError
// for a library that cannot be opened.
Variant ReadValue(const MemberDescription& member, std::string_view text, const Addresses& addresses);

// The same for a property that is no reference.
Variant ReadPlain(const MemberDescription& member, std::string_view text);

// Puts it and answers it. Throws PropertyError also when the object refuses the value, and for a property that can only
// be read.
Variant SetText(const Node& object, const Property& property, std::string_view text, const Addresses& addresses);
Variant SetPlain(const Node& object, const Property& property, std::string_view text);

// "NAME=VALUE" taken apart; throws PropertyError without "=".
struct NamedValue {
    std::string_view name, value;
};
NamedValue SplitAssignment(std::string_view text);

// Makes the assignment; a name without index means all places.
void Assign(const Node& object, std::string_view assignment, const Addresses& addresses);

// ---- help ----

// "CORRECTION.OptMethod": type, unit, range, words and meaning, in lines; of a class alone its meaning and a list of
// its properties. Empty text: there is no such class. Throws PropertyError for a property that there is not.
std::string DescriptionText(std::string_view classAndProperty);

}  // namespace lumvex::app

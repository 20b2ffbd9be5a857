// What `lumvex check` does with the digests beside a document.
#pragma once

#include <filesystem>
#include <functional>
#include <vector>

#include "command_line/command.hpp"
#include "lumvex/diagnostics.hpp"

namespace lumvex::app {

struct DigestUse {
    bool use = false, renew = false;
};

Option DigestOption(DigestUse& digests);  // --digest
Option RenewOption(DigestUse& digests);   // --renew
extern const char* const kDigestHelp;

// The problems that `check` finds in a document, and those that its digests tell. Digests are written where there are
// none, or new ones are asked for, and no problem was found. Where `check` throws DocumentError, the digests are
// compared all the same, so that what cannot be read is named.
std::vector<DocumentProblem> CheckedWithDigests(const std::filesystem::path& document, const DigestUse& digests,
                                                const std::function<std::vector<DocumentProblem>()>& check);

}  // namespace lumvex::app

// How long a file becomes that holds streams of these lengths, and which version of the format suits them.
#pragma once

#include <cstdint>

namespace lumvex::compound {

class StreamLengths {
public:
    // So many streams of so many bytes each.
    void Add(std::uint64_t bytes, std::uint64_t streams = 1);

    // In bytes, of a file that holds them without gaps, with version 3 or 4 of the format.
    std::uint64_t FileLength(int version) const;

    // For a file that is going to be changed as well. The smaller sectors of version 3 waste less behind each long
    // stream, and their FAT takes eight times as much. A short file has them; a longer one where they make it shorter
    // by a sixteenth or more, up to a length from which on the list of its FAT, which is read when the file is opened,
    // becomes long.
    int BestVersion() const;

private:
    std::uint64_t count_ = 0, miniSectors_ = 0;
    std::uint64_t sectors3_ = 0, sectors4_ = 0;  // of long streams, in each version
};

}  // namespace lumvex::compound

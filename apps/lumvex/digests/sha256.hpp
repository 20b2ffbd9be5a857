// SHA-256 by a library of the system: libcrypto on Linux and other POSIX systems, the system's own on Windows.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace lumvex::app {

class Sha256 {
public:
    Sha256();  // throws std::runtime_error where the library refuses
    ~Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;

    void Add(std::span<const std::byte> bytes);
    std::string Digest();  // 64 hexadecimal digits, as sha256sum prints them; once, after the last Add

private:
    struct State;
    std::unique_ptr<State> state_;
};

// The digits of the 32 bytes.
std::string HexOf(const std::array<unsigned char, 32>& digest);

}  // namespace lumvex::app

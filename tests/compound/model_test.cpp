// Long random sequences of everything a caller can do, compared with a map.
#include <random>

#include "support.hpp"

namespace lumvex::tests {
namespace {

struct Sequence {
    int version;
    unsigned names, seed;
    std::size_t largest;
};

class Model : public testing::TestWithParam<Sequence> {};
INSTANTIATE_TEST_SUITE_P(Sequences, Model,
                         testing::Values(Sequence{3, 12, 1, 30000}, Sequence{4, 12, 2, 60000},
                                         Sequence{3, 400, 3, 6000}, Sequence{4, 400, 4, 6000},
                                         Sequence{3, 3000, 5, 300}, Sequence{4, 3000, 6, 300}));

TEST_P(Model, AndFileAgree) {
    const auto [version, names, seed, largest] = GetParam();
    std::mt19937 random(seed);
    FaultyDisk disk;
    auto file = CompoundFile::Create(disk.Open(), version);
    file->Commit();
    Content committed, pending;
    const auto anyName = [&, count = names] {
        const auto number = static_cast<unsigned>(random() % count);
        return number % 5 == 0 ? u"N" + Name(number * 7919) : Name(number);
    };
    const auto check = [&] {
        ASSERT_EQ(GetUncommitted(*file), pending);
        for (int i = 0; i < 20; ++i) {
            const std::u16string name = anyName();
            ASSERT_EQ(file->Contains(name), pending.contains(name));
        }
    };
    const unsigned rounds = names > 1000 ? 300 : 1200;
    for (unsigned round = 0; round < rounds; ++round) {
        const unsigned burst = random() % 20 == 0 ? names / 2 : 1 + static_cast<unsigned>(random() % 6);
        for (unsigned i = 0; i < burst; ++i) {
            const std::u16string name = anyName();
            const auto found = pending.find(name);
            switch (random() % 6) {
                case 0:
                    EXPECT_EQ(StatusOf([&] { file->Remove(name); }),
                              found == pending.end() ? Status::NotFound : Status{});
                    pending.erase(name);
                    break;
                case 1:
                    if (found != pending.end() && !found->second.empty()) {  // little changes
                        Bytes& bytes = found->second;
                        bytes[random() % bytes.size()] ^= std::byte{3};
                        if (random() % 2 == 0) bytes.resize(bytes.size() / 16 * 17, std::byte{1});
                        Put(*file, name, bytes);
                        break;
                    }
                    [[fallthrough]];
                default: {
                    const std::size_t size =
                        random() % 3 == 0 ? random() % (largest + 1) : random() % (largest / 10 + 1);
                    Put(*file, name, pending[name] = Pattern(size, static_cast<unsigned>(random())));
                }
            }
        }
        if (random() % 30 == 0) {
            file->Revert();
            pending = committed;
        }
        if (random() % 3 == 0) {
            file->Commit();
            committed = pending;
        }
        if (random() % 10 == 0) {  // what is not committed is forgotten
            file = CompoundFile::Open(disk.Open(), random() % 2 == 0 ? Access::Exclusive : Access::ReadWriteDenyWrite);
            pending = committed;
            ASSERT_EQ(Problems(disk.Content()), "") << "round " << round;
            RequireRedBlackTree(disk.Content());
            ASSERT_NO_FATAL_FAILURE(check()) << "round " << round;
        }
        if (round % 16 == 0) {
            ASSERT_NO_FATAL_FAILURE(check()) << "round " << round;
        }
    }
}

}  // namespace
}  // namespace lumvex::tests

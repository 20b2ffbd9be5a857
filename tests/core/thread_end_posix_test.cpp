// Objects that a client keeps in static and thread-local storage: their destructors run when the thread, or the
// process, is about to end, and may call the model as at any other time.
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "kit/published.hpp"
#include "lumvex/events.hpp"

namespace lumvex::tests {
namespace {

// Changes its document and listens while it is destroyed.
class LateClient {
public:
    explicit LateClient(std::string& told) : told_(told) {}
    void Start() {
        project_ = Project::Create();
        datum_ = project_.Data().Add(u"A");
        subscription_ = std::make_unique<Subscription>(project_, [this](const Change& change) {
            told_ += change.kind == Change::Kind::Item ? "item " : "collection ";
        });
        datum_.SampleRate(1);
    }
    ~LateClient() {
        datum_.SampleRate(2);  // early bound
        Variant name = Variant::FromText(u"B");
        DISPID put = DISPID_PROPERTYPUT;
        DISPPARAMS given{&name, &put, 1, 1};
        datum_.Pointer()->Invoke(DISPID_VALUE, IID_NULL, 0, DISPATCH_PROPERTYPUT, &given, nullptr, nullptr, nullptr);
        const Datum second = project_.Data().Add(u"C");
        IDatum* none = nullptr;
        if (project_.Data().Get()->get_Item(99, &none) != E_INVALIDARG) told_ += "no failure ";
        project_.Data().RemoveAll();
        const Specifications library = Specifications::Create();
        library.Microphones().Add(u"1").Delay(3);
        told_ += ToUtf8(second.DisplayName());
    }

private:
    std::string& told_;
    Project project_;
    Datum datum_;
    std::unique_ptr<Subscription> subscription_;
};

// The first put is Start's; then a put, a name, a new member with its collection, before and after the removal.
const std::string kAllTold = "item item item item collection collection collection C";

// Made before the thread first calls the model, so destroyed after what the model keeps of the thread.
TEST(ThreadEnd, ThreadLocalClientsOutliveTheContext) {
    const std::size_t before = inside::LiveObjects();
    for (int round = 0; round < 2; ++round) {
        std::string told;
        std::thread([&told] {
            thread_local LateClient client(told);
            client.Start();
        }).join();
        EXPECT_EQ(told, kAllTold);
        EXPECT_EQ(inside::LiveObjects(), before);
    }
}

// The same for a static client, which outlives all that the model has in static storage too.
TEST(ThreadEnd, StaticClientsOutliveTheMainThreadsLocals) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // in a process of its own that has not called the model before
    const auto program = [] {
        struct Reporter {
            std::string told;
            ~Reporter() { std::fprintf(stderr, "told: %s; left: %zu\n", told.c_str(), inside::LiveObjects()); }
        };
        static Reporter reporter;
        static LateClient client(reporter.told);
        client.Start();
        std::exit(0);
    };
    EXPECT_EXIT(program(), testing::ExitedWithCode(0), "told: " + kAllTold + "; left: 0");
}

}  // namespace
}  // namespace lumvex::tests

// A project of a gigabyte: what it costs to read one thing in it, and to change one.
#include <fstream>

#include "kit/full_project.hpp"

namespace lumvex::tests {
namespace {

// Bytes that this process has handed to the system to write.
std::uint64_t BytesWritten() {
    std::ifstream counters("/proc/self/io");
    for (std::string name; counters >> name;) {
        std::uint64_t value = 0;
        counters >> value;
        if (name == "wchar:") return value;
    }
    throw std::runtime_error("this system does not count what a process writes");
}

TEST(LargeProject, IsReadAndSavedByThePart) {
    constexpr int kSpeakers = 200, kMeasurements = 10;  // of two channels each
    constexpr std::size_t kSamples = 65536;
    const Folder folder;
    const std::filesystem::path path = folder / "large.lvp";
    std::u16string middle;  // the ID of a correction
    {
        const Catalogue catalogue;
        Project project = Project::Create();
        project.Specifications(catalogue.library);
        const Experiment experiment = project.Experiments().Add(u"E");
        const Array response = Columns(kSamples, 2);
        for (int speaker = 0; speaker < kSpeakers; ++speaker) {
            const SpkrEQConfig config = project.SpeakerEQs()
                                            .Add(FromUtf8("Speaker " + std::to_string(speaker)), catalogue.alpha)
                                            .SpkrEQConfigs()
                                            .Add(catalogue.biAmp);
            Measurement measurement;
            for (int number = 0; number < kMeasurements; ++number) {
                measurement = config.Measurements().Add(FromUtf8("Take " + std::to_string(number)), experiment);
                measurement.Data(response);
            }
            Correction correction = config.Corrections().Add(u"C", measurement);
            correction.Data(Columns(1024, 2));
            if (speaker == kSpeakers / 2) middle = correction.ID();
        }
        project.SaveFileAs(PathText(path));
    }
    EXPECT_GT(std::filesystem::file_size(path), 1'000'000'000u);

    Project project = Project::Create();
    project.AccessMode(LX_EXCLUSIVE_READWRITE);
    project.OpenFile(PathText(path));
    Correction correction = project.Load(middle).As<Correction>();
    EXPECT_EQ(ContentOf(correction.Data()).values.back(), 2048);
    const LoadStatistics cost = StatisticsOf(project.Get());
    EXPECT_LE(cost.objectsLoaded, 2u);
    EXPECT_LT(cost.bytesRead, 131'072u);

    correction.ActDelay(1.5f);
    const std::uint64_t before = BytesWritten();
    project.SaveFile();
    const std::uint64_t written = BytesWritten() - before;
    std::printf("%llu bytes written\n", static_cast<unsigned long long>(written));
    EXPECT_LE(written, 16'384u + 1024 * 2 * sizeof(float)) << "what every commit writes, and the one correction";

    project = Project();
    project = Opened(path);
    correction = project.Load(middle).As<Correction>();
    EXPECT_EQ(correction.ActDelay(), 1.5f);
    EXPECT_EQ(correction.Measurement().Name(), u"Take 9");
    project = Project();
    EXPECT_TRUE(CheckDocument(path).empty());
}

}  // namespace
}  // namespace lumvex::tests

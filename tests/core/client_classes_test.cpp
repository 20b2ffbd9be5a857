// What the client classes add to the interfaces: texts of either encoding, ranges, typed searches and arrays.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <ranges>

#include "core/base/failure.hpp"
#include "kit/documents.hpp"
#include "storage/compound/base/error.hpp"

namespace lumvex::tests {
namespace {

static_assert(std::ranges::random_access_range<Data> && std::ranges::sized_range<Data> &&
              std::ranges::common_range<Data>);

TEST(ClientClasses, TextsAreTakenAsUtf8AndUtf16) {
    Project project = Project::Create();
    const std::string narrow = "\xC3\x84rger \xF0\x9F\x94\x8A";
    const std::u16string wide = u"\u00C4rger \U0001F50A";
    project.Data().Add(narrow);
    project.Data().Add(std::string_view(narrow));
    project.Data().Add(narrow.c_str());
    project.Data().Add(std::filesystem::path(wide));
    project.Data().Add(wide.c_str());
    for (const Datum& each : project.Data()) EXPECT_EQ(each.Name(), wide);
    Datum first = project.Data().Item(1);
    first.Name(
        "\xFF"
        "A");
    EXPECT_EQ(first.Name(), u"\uFFFDA");
}

TEST(ClientClasses, CollectionsAreRangesInBothDirections) {
    Project project = Project::Create();
    EXPECT_TRUE(project.Data().empty());
    for (const char* name : {"b", "c", "a"}) project.Data().Add(name);
    const Data data = project.Data();
    const auto names = [](auto from, auto to) {
        std::u16string text;
        for (; from != to; ++from) text += Datum(*from).Name();
        return text;
    };
    EXPECT_EQ(data.size(), 3u);
    EXPECT_EQ(names(data.begin(), data.end()), u"bca");
    EXPECT_EQ(names(std::reverse_iterator(data.end()), std::reverse_iterator(data.begin())), u"acb");
    EXPECT_EQ(data.begin()[2], data.Item(3));
    EXPECT_EQ(2 + data.begin(), data.end() - 1);
    const auto found = std::ranges::find(data.begin(), data.end(), u"c", [](const Datum& each) { return each.Name(); });
    EXPECT_EQ(found - data.begin(), 1);
    project.Data().Remove(3);
    EXPECT_THROW(*(data.begin() + 2), Error);
}

TEST(ClientClasses, SearchesAnswerTheClassOfTheMembers) {
    Specifications library = Specifications::Create();
    const Model model = library.Manufacturers().Add("Acme").Models().Add("Alpha");
    Project project = Project::Create();
    project.Specifications(library);
    const SpeakerEQ left = project.SpeakerEQs().Add("Left", model), other = project.SpeakerEQs().Add("Left");
    EXPECT_EQ(project.SpeakerEQs().Find("LEFT", model), left);
    EXPECT_EQ(project.SpeakerEQs().Find("right"), std::nullopt);
    EXPECT_EQ(project.SpeakerEQs().FindMember(other.ID()), other);
    EXPECT_EQ(project.Data().FindMember(other.ID()), std::nullopt) << "of another collection";
    EXPECT_EQ(library.Configs().Find("Bi amp")->Name(), u"Bi amp");
}

TEST(ClientClasses, ArraysComeFromAndGoToRangesOfNumbers) {
    Project project = Project::Create();
    Datum datum = project.Data().Add("D");
    datum.Data(std::vector<double>{1, 2.5, -3});
    EXPECT_EQ(datum.Data().Columns(), 1u);
    EXPECT_TRUE(std::ranges::equal(datum.Data().Values<float>(), std::vector{1.f, 2.5f, -3.f}));

    const std::vector<float> left{1, 2}, right{3, 4};
    const Array stereo = Array::FromColumns<float>({left, right});
    datum.Data(stereo);
    const Array got = datum.Data();
    EXPECT_EQ(got.Rows(), 2u);
    EXPECT_EQ(got(1, 1), 4);
    EXPECT_TRUE(std::ranges::equal(got.Column<float>(1), right));
    EXPECT_THROW(got(2, 0), std::out_of_range);
    EXPECT_THROW(got.Column<float>(2), std::out_of_range);
    EXPECT_THROW(got.Values<double>(), Error);
    const std::vector<float> longer{5, 6, 7};
    EXPECT_THROW(Array::FromColumns<float>({left, longer}), std::invalid_argument);
    EXPECT_THROW(Array::FromColumns(longer, 2, 2), std::invalid_argument);

    project.WorkspaceData(std::vector{std::byte{7}, std::byte{255}});
    EXPECT_EQ(project.WorkspaceData()(1), 255);
    EXPECT_EQ(project.WorkspaceData().Values<std::byte>()[0], std::byte{7});
    const Array one = Array::FromColumns(std::vector<float>{9}, 1, 1);
    datum.Data(one);
    EXPECT_EQ(datum.Data()(0), 9) << "a single value is taken in two dimensions";
    EXPECT_TRUE(Array().Empty());
    EXPECT_THROW(Array()(0), std::out_of_range);
}

TEST(ClientClasses, ErrorsAreErrorCodesToo) {
    try {
        Project::Open("nothing.lvp");
        FAIL();
    } catch (const Error& error) {
        const std::error_code code = error.Code();
        EXPECT_EQ(code, std::errc::no_such_file_or_directory);
        EXPECT_NE(code, std::errc::permission_denied);
        EXPECT_EQ(code.value(), error.Status());
        EXPECT_STREQ(code.category().name(), "lumvex");
        EXPECT_EQ(code.message(), "there is no such file");
    }
    const std::pair<HRESULT, std::errc> meanings[] = {{STG_E_ACCESSDENIED, std::errc::permission_denied},
                                                      {STG_E_SHAREVIOLATION, std::errc::device_or_resource_busy},
                                                      {STG_E_LOCKVIOLATION, std::errc::no_lock_available},
                                                      {STG_E_MEDIUMFULL, std::errc::no_space_on_device},
                                                      {STG_E_READFAULT, std::errc::io_error},
                                                      {E_OUTOFMEMORY, std::errc::not_enough_memory}};
    for (const auto& [status, meaning] : meanings) EXPECT_EQ(CodeOf(status), meaning) << CodeOf(status).message();
    EXPECT_NE(CodeOf(STG_E_DOCFILECORRUPT), std::errc::io_error) << "has no equivalent";
    EXPECT_FALSE(CodeOf(S_OK));
    // Whatever the library answers has words; a status of others is shown as it is.
    using compound::Status;
    for (const Status each :
         {Status::NotFound, Status::PathNotFound, Status::TooManyOpenFiles, Status::AccessDenied, Status::NoMemory,
          Status::WriteFault, Status::ReadFault, Status::ShareViolation, Status::LockViolation,
          Status::NotACompoundFile, Status::MediumFull, Status::InvalidHeader, Status::InvalidName, Status::InvalidFlag,
          Status::NotCurrent, Status::Corrupt})
        EXPECT_EQ(CodeOf(static_cast<HRESULT>(each)).message().find("status"), std::string::npos);
    for (const int message :
         {4000, 4002, 4003, 4004, 4005, 4007, 4008, 4009, 4010, 4011, 4013, 4014, 4015, 4017, 4018, 4019, 4020})
        EXPECT_EQ(CodeOf(inside::StatusOf(inside::Message{message})).message().find("status"), std::string::npos);
    EXPECT_EQ(CodeOf(static_cast<HRESULT>(0x80041234u)).message(), "status 0x80041234");
}

TEST(ClientClasses, OpenAnswersTheDocumentOfAFile) {
    const Folder folder;
    Project project = Project::Create();
    project.Data().Add("kept");
    project.SaveFileAs(folder / "a.lvp");
    project.CloseFile();
    const Project opened = Project::Open(folder / "a.lvp");
    EXPECT_EQ(opened.AccessMode(), LX_SHARE_READ);
    EXPECT_TRUE(opened.Data().Find("KEPT"));
    EXPECT_THROW(Project::Open(folder / "none.lvp"), Error);
}

}  // namespace
}  // namespace lumvex::tests

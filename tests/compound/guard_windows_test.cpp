// The system's in-page error, raised by hand where no disk fails: what is mapped shows zeros, reads answer what is so.
#include <windows.h>

#include "sharing.hpp"
#include "storage/compound/file/guard.hpp"

namespace lumvex::tests {
namespace {

void RaiseInPageError(const void* address) {
    const ULONG_PTR arguments[] = {0, reinterpret_cast<ULONG_PTR>(address), 0xC000009C};
    ::RaiseException(EXCEPTION_IN_PAGE_ERROR, 0, 3, arguments);
}

TEST_F(Sharing, PagesThatCannotBeReadShowZerosAndAreReported) {
    const auto file = OpenFile(path_, Access::ReadShared);
    const auto mapped = file->Map();
    ASSERT_TRUE(mapped);
    EXPECT_NE((*mapped)[0], std::byte{0});
    EXPECT_EQ(file->LookAtMap(), File::Shown::Whole);
    RaiseInPageError(mapped->data() + 5000);
    EXPECT_EQ(file->LookAtMap(), File::Shown::Failed);
    for (const std::byte each : *mapped) ASSERT_EQ(each, std::byte{0});
    // The file itself is read as before.
    Bytes header(512);
    file->Read(0, header);
    EXPECT_NE(header[0], std::byte{0});
}

TEST_F(Sharing, AReadThatMeetsSuchAPageAnswersAReadFaultOnce) {
    const auto file = Open(Access::ReadShared);
    const Stream stream = file->Get(u"a");
    const std::byte* mapped = stream.Contiguous(0, stream.Size());  // in several pages
    ASSERT_NE(mapped, nullptr);
    RaiseInPageError(mapped);
    EXPECT_EQ(StatusOf([&] { Get(*file, u"a"); }), Status::ReadFault);
    EXPECT_TRUE(GetAll(*file) == content_);  // page by page from here on
}

TEST_F(Sharing, FilesAreReadWithoutAGuardToo) {
    AllowGuard(false);
    EXPECT_FALSE(OpenFile(path_, Access::ReadShared)->Map());
    EXPECT_TRUE(GetAll(*Open(Access::ReadShared)) == content_);
    AllowGuard(true);
}

}  // namespace
}  // namespace lumvex::tests

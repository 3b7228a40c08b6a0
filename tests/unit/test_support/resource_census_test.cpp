#include "support/resource_census.h"

#include "support/replaced_function.h"
#include "win/com_ptr.h"
#include "win/owner.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace testing_support;

class Census : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ("", census.Imbalance()); }

    ResourceCensus census;
};

TEST_F(Census, CountsASearchOfFilesUntilItIsClosed)
{
    WIN32_FIND_DATAW found{};
    const win::FindFile search(FindFirstFileW(L"C:\\*", &found));
    ASSERT_TRUE(search);
    EXPECT_EQ("searches open: 1\n", census.Imbalance());
}

TEST_F(Census, CountsASearchOfVolumesUntilItIsClosed)
{
    wchar_t name[261] = {};
    const win::FindVolume search(FindFirstVolumeW(name, 261));
    ASSERT_TRUE(search);
    EXPECT_EQ("searches open: 1\n", census.Imbalance());
}

// Answers in place of a Windows that knows no mount points.
class MountPointCensus : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ("", census.Imbalance()); }

    Replaced<"FindFirstVolumeMountPointW", decltype(::FindFirstVolumeMountPointW)> first{
        [this](LPCWSTR, LPWSTR, DWORD) -> HANDLE { return &search_; }};
    Replaced<"FindVolumeMountPointClose", decltype(::FindVolumeMountPointClose)> close{[](HANDLE) { return TRUE; }};
    ResourceCensus census;

private:
    int search_ = 0; // its address serves as the handle
};

TEST_F(MountPointCensus, CountsASearchUntilItIsClosed)
{
    wchar_t folder[261] = {};
    const win::FindMountPoint search(FindFirstVolumeMountPointW(L"C:\\", folder, 261));
    EXPECT_EQ("searches open: 1\n", census.Imbalance());
}

TEST_F(Census, CountsNoSearchThatFails)
{
    WIN32_FIND_DATAW found{};
    EXPECT_FALSE(win::FindFile(FindFirstFileW(L"C:\\no such file", &found)));
}

TEST_F(Census, CountsLocalMemoryUntilItIsFreed)
{
    const win::LocalBlock first(LocalAlloc(LMEM_ZEROINIT, 1));
    const win::LocalBlock second(LocalAlloc(LMEM_ZEROINIT, 1));
    EXPECT_EQ("local memory blocks: 2\n", census.Imbalance());
}

TEST_F(Census, CountsGlobalMemoryUntilItIsFreed)
{
    const win::GlobalBlock block(GlobalAlloc(GMEM_ZEROINIT, 1));
    EXPECT_EQ("global memory blocks: 1\n", census.Imbalance());
}

TEST_F(Census, CountsAStreamInTheBlocksPlaceUntilItsLastReferenceIsReleased)
{
    win::GlobalBlock block(GlobalAlloc(GMEM_ZEROINIT, 4));
    win::ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, CreateStreamOnHGlobal(block.Get(), TRUE, stream.Put()));
    static_cast<void>(block.Detach());
    EXPECT_EQ("streams not released: 1\n", census.Imbalance());
    const win::ComPtr<IStream> second = stream;
    stream.Reset();
    EXPECT_EQ("streams not released: 1\n", census.Imbalance());
}

TEST_F(Census, CountsABlockBesidesAStreamThatDoesNotFreeIt)
{
    const win::GlobalBlock block(GlobalAlloc(GMEM_MOVEABLE, 4));
    const win::ComPtr<IStream> stream = [&] {
        win::ComPtr<IStream> made;
        EXPECT_EQ(S_OK, CreateStreamOnHGlobal(block.Get(), FALSE, made.Put()));
        return made;
    }();
    EXPECT_EQ("global memory blocks: 1\nstreams not released: 1\n", census.Imbalance());
}

TEST(CensusOfGlobalMemory, NoticesABlockThatIsFreedWithoutBeingAllocated)
{
    const ResourceCensus census;
    const Replaced<"GlobalAlloc", decltype(::GlobalAlloc)> unseen(
        [](UINT, SIZE_T size) -> HGLOBAL { return HeapAlloc(GetProcessHeap(), 0, size); });
    win::GlobalBlock(GlobalAlloc(GMEM_FIXED, 1)).Reset();
    EXPECT_EQ("global memory blocks freed that were not allocated: 1\n", census.Imbalance());
}

} // namespace

#include "support/registry.h"

#include "registry_value.h"
#include "support/failing_memory.h"

#include <algorithm>
#include <initializer_list>
#include <vector>

namespace {

using namespace testing_support;
using namespace testing_support::registry_values;

// --- Types and sizes ---

class ReadingTypeAndSize : public ReadingText {};

TEST_F(ReadingTypeAndSize, GivesWhatEveryTypeOfValueHas)
{
    const std::vector<BYTE> data = {1, 2, 3, 4, 5, 6, 7, 8};
    for (const DWORD wanted : std::initializer_list<DWORD>{
             REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_DWORD_BIG_ENDIAN, REG_LINK, REG_MULTI_SZ,
             REG_RESOURCE_LIST, REG_FULL_RESOURCE_DESCRIPTOR, REG_RESOURCE_REQUIREMENTS_LIST, REG_QWORD}) {
        Set(wanted, data);
        DWORD type = 0xFFFF;
        DWORD size = 0xFFFF;
        EXPECT_EQ(0, RegReadType(key.Get(), L"Value", type));
        EXPECT_EQ(0, RegReadSize(key.Get(), L"Value", size));
        EXPECT_EQ(wanted, type);
        EXPECT_EQ(8U, size);
    }
}

TEST_F(ReadingTypeAndSize, GivesTheSizeOfAnyData)
{
    for (const std::size_t wanted : {0U, 1U, 12U, 13U, 14U, 26U, 27U, 1000U, 100000U}) {
        Set(REG_BINARY, std::vector<BYTE>(wanted, 0xAB));
        DWORD size = 0xFFFF;
        EXPECT_EQ(0, RegReadSize(key.Get(), L"Value", size));
        EXPECT_EQ(wanted, size);
    }
}

TEST_F(ReadingTypeAndSize, GivesThemAlsoWhereWindowsHasMoreData)
{
    Set(REG_BINARY, {1, 2, 3});
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [&](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) -> LSTATUS {
            EXPECT_EQ(0, query.Original(asked, name, reserved, type, data, size));
            return ERROR_MORE_DATA;
        });
    DWORD type = 77;
    DWORD size = 78;
    EXPECT_EQ(234, RegReadType(key.Get(), L"Value", type));
    EXPECT_EQ(234, RegReadSize(key.Get(), L"Value", size));
    EXPECT_EQ(3U, type);
    EXPECT_EQ(3U, size);
}

TEST_F(ReadingTypeAndSize, LeavesTheOutputsOfAValueThatIsNotThere)
{
    DWORD type = 77;
    DWORD size = 78;
    EXPECT_EQ(2, RegReadType(key.Get(), L"Value", type));
    EXPECT_EQ(2, RegReadSize(key.Get(), L"Value", size));
    EXPECT_EQ(77U, type);
    EXPECT_EQ(78U, size);
}

TEST_F(ReadingTypeAndSize, LeavesTheOutputsOfAFailureWhateverWindowsWritesThere)
{
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [](HKEY, LPCWSTR, LPDWORD, LPDWORD askedType, LPBYTE, LPDWORD askedSize) -> LSTATUS {
            if (askedType != nullptr) {
                *askedType = 1;
            }
            if (askedSize != nullptr) {
                *askedSize = 1;
            }
            return ERROR_KEY_DELETED;
        });
    DWORD type = 77;
    DWORD size = 78;
    EXPECT_EQ(1018, RegReadType(key.Get(), L"Value", type));
    EXPECT_EQ(1018, RegReadSize(key.Get(), L"Value", size));
    EXPECT_EQ(77U, type);
    EXPECT_EQ(78U, size);
}

// --- Binary values ---

// So many bytes, no two neighbours alike.
std::vector<BYTE> SomeBytes(std::size_t count)
{
    std::vector<BYTE> bytes(count);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<BYTE>(i * 7 + 1);
    }
    return bytes;
}

constexpr std::size_t kBinarySizes[] = {0, 1, 12, 13, 14, 26, 27, 1000};

class ReadingBytes : public ReadingText {
protected:
    // Reads the value into so many bytes; only as many of these are left as the value is said to have.
    LSTATUS Read(std::size_t capacity)
    {
        buffer.assign(capacity, 0xEE);
        size = static_cast<DWORD>(capacity);
        return RegReadBinary(key.Get(), L"Value", buffer.data(), size);
    }

    // Whether a read has left the buffer and the size as they were.
    [[nodiscard]] bool IsUntouched() const
    {
        return size == buffer.size() && std::all_of(buffer.begin(), buffer.end(), [](BYTE b) { return b == 0xEE; });
    }

    std::vector<BYTE> buffer;
    DWORD size = 0;
};

TEST_F(ReadingBytes, GivesThemAndTheirCountAndLeavesTheRest)
{
    for (const std::size_t count : kBinarySizes) {
        Set(REG_BINARY, SomeBytes(count));
        std::vector<BYTE> expected = SomeBytes(count);
        EXPECT_EQ(0, Read(count));
        EXPECT_EQ(count, size);
        EXPECT_EQ(expected, buffer);
        EXPECT_EQ(0, Read(1010));
        EXPECT_EQ(count, size);
        expected.resize(1010, 0xEE);
        EXPECT_EQ(expected, buffer);
    }
}

TEST_F(ReadingBytes, GivesTheErrorOfAValueThatDoesNotFit)
{
    for (const std::size_t count : kBinarySizes) {
        if (count != 0) {
            Set(REG_BINARY, SomeBytes(count));
            EXPECT_EQ(234, Read(count - 1));
            EXPECT_TRUE(IsUntouched()) << count;
        }
    }
}

TEST_F(ReadingBytes, FindsAValueOfAnotherTypeInvalidAndLeavesTheBuffer)
{
    for (const DWORD type :
         std::initializer_list<DWORD>{REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_DWORD, REG_DWORD_BIG_ENDIAN, REG_LINK,
                                      REG_MULTI_SZ, REG_RESOURCE_LIST, REG_QWORD}) {
        Set(type, SomeBytes(8));
        for (const std::size_t capacity : {0U, 4U, 8U, 100U}) {
            EXPECT_EQ(13, Read(capacity)) << type;
            EXPECT_TRUE(IsUntouched()) << type;
        }
    }
}

TEST_F(ReadingBytes, GivesTheErrorOfWindowsAndLeavesTheBuffer)
{
    EXPECT_EQ(2, Read(4));
    EXPECT_TRUE(IsUntouched());
    Set(REG_BINARY, SomeBytes(4));
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [&](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD count) -> LSTATUS {
            EXPECT_EQ(0, query.Original(asked, name, reserved, type, data, count));
            return ERROR_KEY_DELETED;
        });
    EXPECT_EQ(1018, Read(5));
    EXPECT_TRUE(IsUntouched());
}

TEST_F(ReadingBytes, EndsWith14WithoutMemoryForThem)
{
    Set(REG_BINARY, SomeBytes(4));
    buffer.assign(4, 0xEE);
    size = 4;
    const FailingMemory memory(1);
    EXPECT_EQ(14, RegReadBinary(key.Get(), L"Value", buffer.data(), size));
    EXPECT_TRUE(memory.HasFailed());
    EXPECT_FALSE(memory.HasThrown());
    EXPECT_TRUE(IsUntouched());
}

// --- Streams ---

class StreamingAValue : public ReadingText {
protected:
    LSTATUS Read() { return RegReadValueToStream(key.Get(), L"Value", stream); }

    // What is left in the stream.
    std::vector<BYTE> Content()
    {
        std::vector<BYTE> content(2000);
        ULONG count = 0;
        EXPECT_TRUE(SUCCEEDED(stream->Read(content.data(), static_cast<ULONG>(content.size()), &count)));
        content.resize(count);
        return content;
    }

    // A value that changes between the reads of its size and of its data.
    void ChangeBeforeSecondRead(std::vector<BYTE> before, std::vector<BYTE> after, LSTATUS expected)
    {
        Set(REG_BINARY, std::move(before));
        const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
            [&](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) {
                if (data != nullptr) {
                    Set(REG_BINARY, after);
                }
                return query.Original(asked, name, reserved, type, data, size);
            });
        EXPECT_EQ(expected, Read());
        EXPECT_EQ(2, query.Calls());
    }

    win::ComPtr<IStream> stream;

private:
    void TearDown() override
    {
        stream.Reset();
        ReadingText::TearDown();
    }
};

TEST_F(StreamingAValue, GivesTheBytesOfEveryType)
{
    const std::vector<BYTE> data = {0, 1, 0xFE, 0xFF};
    for (const DWORD type :
         std::initializer_list<DWORD>{REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_DWORD_BIG_ENDIAN,
                                      REG_LINK, REG_MULTI_SZ, REG_RESOURCE_LIST, REG_QWORD}) {
        Set(type, data);
        ASSERT_EQ(0, Read()) << type;
        EXPECT_EQ(data, Content()) << type;
    }
}

TEST_F(StreamingAValue, GivesAnyNumberOfBytes)
{
    for (const std::size_t count : kBinarySizes) {
        Set(REG_BINARY, SomeBytes(count));
        ASSERT_EQ(0, Read()) << count;
        // Windows may round up a block of no bytes.
        if (count != 0) {
            EXPECT_EQ(SomeBytes(count), Content());
        }
    }
}

TEST_F(StreamingAValue, TakesAZeroedBlockOfTheValuesSizeThatTheStreamFrees)
{
    Set(REG_BINARY, SomeBytes(27));
    HGLOBAL block = nullptr;
    const Replaced<"GlobalAlloc", decltype(::GlobalAlloc)> allocate([&](UINT flags, SIZE_T size) {
        EXPECT_EQ(0x40U, flags);
        EXPECT_EQ(27U, size);
        block = allocate.Original(flags, size);
        return block;
    });
    const Replaced<"CreateStreamOnHGlobal", decltype(::CreateStreamOnHGlobal)> create(
        [&](HGLOBAL wrapped, BOOL freesBlock, IStream** made) {
            EXPECT_EQ(block, wrapped);
            EXPECT_EQ(TRUE, freesBlock);
            return create.Original(wrapped, freesBlock, made);
        });
    const Replaced<"GlobalFree", decltype(::GlobalFree)> free([](HGLOBAL freed) {
        ADD_FAILURE() << "the stream has the block";
        return freed;
    });
    EXPECT_EQ(0, Read());
    EXPECT_EQ(1, allocate.Calls());
    EXPECT_EQ(1, create.Calls());
    EXPECT_EQ("registry keys open: 1\nstreams not released: 1\n", census.Imbalance());
}

TEST_F(StreamingAValue, TakesMoreDataForASizeThatIsTold)
{
    Set(REG_BINARY, SomeBytes(4));
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [&](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) -> LSTATUS {
            const LSTATUS status = query.Original(asked, name, reserved, type, data, size);
            return data == nullptr ? ERROR_MORE_DATA : status;
        });
    ASSERT_EQ(0, Read());
    EXPECT_EQ(SomeBytes(4), Content());
}

TEST_F(StreamingAValue, GivesTheErrorOfAValueThatIsNotThere)
{
    EXPECT_EQ(2, Read());
    EXPECT_FALSE(stream);
}

TEST_F(StreamingAValue, GivesTheErrorOfAValueThatHasGrownBetweenItsTwoReads)
{
    ChangeBeforeSecondRead(SomeBytes(4), SomeBytes(5), 234);
    EXPECT_FALSE(stream);
}

TEST_F(StreamingAValue, GivesZerosBehindAValueThatHasShrunkBetweenItsTwoReads)
{
    ChangeBeforeSecondRead({9, 9, 9, 9}, {1, 2}, 0);
    EXPECT_EQ((std::vector<BYTE>{1, 2, 0, 0}), Content());
}

TEST_F(StreamingAValue, FreesTheBlockOfAValueThatCannotBeRead)
{
    Set(REG_BINARY, SomeBytes(4));
    const Replaced<"RegQueryValueExW", decltype(::RegQueryValueExW)> query(
        [&](HKEY asked, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size) -> LSTATUS {
            return data == nullptr ? query.Original(asked, name, reserved, type, data, size) : ERROR_KEY_DELETED;
        });
    EXPECT_EQ(1018, Read());
    EXPECT_FALSE(stream);
    EXPECT_EQ("registry keys open: 1\n", census.Imbalance());
}

TEST_F(StreamingAValue, EndsWith14WithoutMemoryForTheBlock)
{
    Set(REG_BINARY, SomeBytes(4));
    const Replaced<"GlobalAlloc", decltype(::GlobalAlloc)> allocate([](UINT, SIZE_T) -> HGLOBAL {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    });
    EXPECT_EQ(14, Read());
    EXPECT_FALSE(stream);
    EXPECT_EQ(1, allocate.Calls());
}

TEST_F(StreamingAValue, FreesTheBlockWhereNoStreamCanBeMadeOfIt)
{
    Set(REG_BINARY, SomeBytes(4));
    HRESULT failure = E_OUTOFMEMORY;
    const Replaced<"CreateStreamOnHGlobal", decltype(::CreateStreamOnHGlobal)> create(
        [&](HGLOBAL, BOOL, IStream**) { return failure; });
    EXPECT_EQ(14, Read());
    failure = E_INVALIDARG;
    EXPECT_EQ(87, Read());
    failure = static_cast<HRESULT>(0x80040000);
    EXPECT_EQ(failure, Read());
    EXPECT_FALSE(stream);
    EXPECT_EQ(3, create.Calls());
    EXPECT_EQ("registry keys open: 1\n", census.Imbalance());
}

TEST_F(StreamingAValue, LeavesTheStreamThatTheCallerHadOnEveryFailure)
{
    Set(REG_BINARY, SomeBytes(4));
    ASSERT_EQ(0, Read());
    IStream* const before = stream.Get();
    {
        const Replaced<"CreateStreamOnHGlobal", decltype(::CreateStreamOnHGlobal)> create(
            [](HGLOBAL, BOOL, IStream**) { return E_OUTOFMEMORY; });
        EXPECT_EQ(14, Read());
    }
    EXPECT_EQ(before, stream.Get());
    EXPECT_EQ(2, RegReadValueToStream(key.Get(), L"Missing", stream));
    ASSERT_EQ(before, stream.Get());
    EXPECT_EQ(SomeBytes(4), Content());
}

} // namespace

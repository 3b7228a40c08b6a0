#include "call_stub.h"

#include "win/windows_api.h"

#include <cstddef>
#include <cstring>
#include <mutex>
#include <new>

namespace faults {

namespace {

Before seeBefore = nullptr;
After seeAfter = nullptr;

// The code of a stub: its data into r10, the common part into r11, and there.
struct Code {
    unsigned char bytes[23];
};

constexpr Code kPattern{{0x49, 0xBA, 0,   0, 0, 0, 0, 0, 0, 0, // movabs $stub, %r10
                         0x49, 0xBB, 0,   0, 0, 0, 0, 0, 0, 0, // movabs $common, %r11
                         0x41, 0xFF, 0xE3}};                   // jmp *%r11
constexpr std::size_t kStubAddress = 2;
constexpr std::size_t kCommonAddress = 12;

// Executable memory, which is never given back: whoever has the address of a stub may call it until the process ends.
void* NewCode()
{
    constexpr std::size_t kSize = 32;
    constexpr std::size_t kBlock = 65536;
    static std::mutex lock;
    static char* next = nullptr;
    static std::size_t left = 0;
    const std::scoped_lock guard(lock);
    if (left < kSize) {
        next = static_cast<char*>(VirtualAlloc(nullptr, kBlock, MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE));
        if (next == nullptr) {
            return nullptr;
        }
        left = kBlock;
    }
    void* const code = next;
    next += kSize;
    left -= kSize;
    return code;
}

} // namespace

} // namespace faults

extern "C" {

void FaultsCommonStub();

// NOLINTNEXTLINE(misc-use-internal-linkage): the code below calls it.
int FaultsBefore(const faults::Stub* stub, std::uint64_t* arguments, std::uint64_t* returned)
{
    const DWORD error = GetLastError();
    if (faults::seeBefore({*stub, arguments, returned})) {
        SetLastError(error);
        return 1;
    }
    return 0;
}

// NOLINTNEXTLINE(misc-use-internal-linkage): the code below calls it.
void FaultsAfter(const faults::Stub* stub, std::uint64_t* arguments, std::uint64_t* returned)
{
    const DWORD error = GetLastError();
    faults::seeAfter({*stub, arguments, returned});
    SetLastError(error);
}
}

// Keeps the arguments, those in registers in the places that the caller has left for them, and calls the function with
// all of them once more. Below %rbp: the floating-point arguments (32 bytes), the stub's data, what is returned.
asm(R"(
    .text
    .globl FaultsCommonStub
FaultsCommonStub:
    movq %rcx, 8(%rsp)
    movq %rdx, 16(%rsp)
    movq %r8, 24(%rsp)
    movq %r9, 32(%rsp)
    pushq %rbp
    movq %rsp, %rbp
    subq $192, %rsp
    movsd %xmm0, -8(%rbp)
    movsd %xmm1, -16(%rbp)
    movsd %xmm2, -24(%rbp)
    movsd %xmm3, -32(%rbp)
    movq %r10, -40(%rbp)
    movq %r10, %rcx
    leaq 16(%rbp), %rdx
    leaq -48(%rbp), %r8
    call FaultsBefore
    testl %eax, %eax
    jz 1f
    .irp place, 0, 8, 16, 24, 32, 40, 48, 56
    movq 48+\place(%rbp), %rax
    movq %rax, 32+\place(%rsp)
    .endr
    movq 16(%rbp), %rcx
    movq 24(%rbp), %rdx
    movq 32(%rbp), %r8
    movq 40(%rbp), %r9
    movsd -8(%rbp), %xmm0
    movsd -16(%rbp), %xmm1
    movsd -24(%rbp), %xmm2
    movsd -32(%rbp), %xmm3
    movq -40(%rbp), %rax
    call *(%rax)
    movq %rax, -48(%rbp)
    movq -40(%rbp), %rcx
    leaq 16(%rbp), %rdx
    leaq -48(%rbp), %r8
    call FaultsAfter
1:
    movq -48(%rbp), %rax
    leave
    ret
)");

namespace faults {

void WatchCalls(Before before, After after)
{
    seeBefore = before;
    seeAfter = after;
}

void* MakeStub(void* original, std::uint64_t tag)
{
    void* const code = NewCode();
    auto* const stub = new (std::nothrow) Stub{original, tag};
    if (code == nullptr || stub == nullptr) {
        delete stub;
        return nullptr;
    }
    Code bytes = kPattern;
    void (*const common)() = &FaultsCommonStub;
    std::memcpy(&bytes.bytes[kStubAddress], &stub, sizeof(void*));
    std::memcpy(&bytes.bytes[kCommonAddress], &common, sizeof(void*));
    std::memcpy(code, &bytes, sizeof bytes);
    return code;
}

} // namespace faults

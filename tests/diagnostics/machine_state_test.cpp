// What a backtrace is made from: which code is a call, and how far the text goes.

#include "diagnostics/machine_state.h"

#include "diagnostics/backtrace.h"
#include "tests/support/guarded_page.h"
#include "tests/support/testing.h"

namespace
{

// Code that ends where memory ends, a distance from there and the lowest bit that tells the
// instruction set; the function that is called, by its distance, 0 for one from a pointer.
struct SCode
{
    std::string m_strCode;
    bool m_bCall;
    std::intptr_t m_iTarget = 0;
    unsigned m_uThumb = 0;
};

const SCode kCodes[] = {
#if defined(__x86_64__)
    {"\xFF\xD0", true},                          // call *%rax
    {"\xFF\x53\x08", true},                      // call *8(%rbx)
    {"\xFF\x14\x24", true},                      // call *(%rsp)
    {"\xFF\x54\x24\x08", true},                  // call *8(%rsp)
    {"\xFF\x93\x44\x33\x22\x11", true},          // call *0x11223344(%rbx)
    {"\xFF\x15\x44\x33\x22\x11", true},          // call *0x11223344(%rip)
    {"\xFF\x94\x24\x44\x33\x22\x11", true},      // call *0x11223344(%rsp)
    {"\xE8\xF0\xFF\xFF\xFF", true, -16},         // call, 16 bytes back
    {std::string("\xE8\x10\x01\0\0", 5), false}, // where nothing is
    {"\xE9\xF0\xFF\xFF\xFF", false},             // jmp
    {"\xFF\xE0", false},                         // jmp *%rax
    {"\xFF\x53", false},                         // the beginning of a call
    {"\xFE\xD0", false},                         // no instruction
#elif defined(__arm__)
    {"\x33\xFF\x2F\xE1", true},         // blx r3
    {"\x13\xFF\x2F\xE1", false},        // bx r3
    {"\xFB\xFF\xFF\xEB", true, -16},    // bl
    {"\xFB\xFF\xFF\x0B", true, -16},    // bleq
    {"\xFB\xFF\xFF\xEA", false},        // b
    {"\xFB\xFF\xFF\xFB", true, -13},    // blx to Thumb, half a word further
    {"\x98\x47", true, 0, 1},           // blx r3
    {"\x18\x47", false, 0, 1},          // bx r3
    {"\xFF\xF7\xF8\xFF", true, -15, 1}, // bl
    {"\xFF\xF7\xF8\xEF", true, -16, 1}, // blx to ARM
    {"\xFF\xF7\xF8\xBF", false, 0, 1},  // b
#endif
};

TEST(MachineState, KnowsEachFormOfACall)
{
    const CGuardedPage page;
    mu::CMemoryProbe probe;
    const auto uEnd = reinterpret_cast<std::uintptr_t>(page.End());
    for (const SCode& code : kCodes)
    {
        std::memset(page.End() - 16, 0, 16);
        std::memcpy(page.End() - code.m_strCode.size(), code.m_strCode.data(),
                    code.m_strCode.size());
        std::uintptr_t uTarget = 1;
        EXPECT_EQ(mu::FollowsCall(probe, uEnd + code.m_uThumb, uTarget), code.m_bCall)
            << testing::PrintToString(code.m_strCode);
        const auto uExpected = uEnd + static_cast<std::uintptr_t>(code.m_iTarget);
        EXPECT_TRUE(!code.m_bCall || uTarget == (code.m_iTarget == 0 ? 0 : uExpected))
            << testing::PrintToString(code.m_strCode) << uTarget - uEnd;
        EXPECT_FALSE(mu::FollowsCall(probe, 1 + code.m_uThumb, uTarget));
    }
}

TEST(Backtrace, EndsWithAWholeLine)
{
    std::string strWhole;
    for (int iSize = 3000; iSize >= 0; --iSize)
    {
        std::string strText(3000, '#');
        const int iLength = Backtrace(strText.data(), iSize);
        strText.resize(static_cast<std::size_t>(iLength));
        strWhole = iSize == 3000 ? strText : strWhole;
        ASSERT_TRUE(iLength <= iSize && strWhole.starts_with(strText)) << strText;
        ASSERT_TRUE(strText.empty() || strText.ends_with("\r\n"));
    }
}

} // namespace

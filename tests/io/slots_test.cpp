// The order of virtual operations, on which programs built apart from this library rely.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

#include "config/xml_record.h"
#include "io/file_access.h"
#include "logging/logger.h"
#include "mu/http_reply.h"
#include "mu/memory_block.h"

namespace
{

// A pointer to a virtual member holds its slot's offset, plus 1 where code addresses may be even
// (the Itanium C++ ABI and its variant for ARM).
template <class TMember>
std::size_t Slot(TMember member)
{
    std::uintptr_t aWords[2];
    static_assert(sizeof member == sizeof aWords);
    std::memcpy(aWords, &member, sizeof aWords);
#ifdef __arm__
    return aWords[0] / sizeof(void*);
#else
    return (aWords[0] - 1) / sizeof(void*);
#endif
}

TEST(Slots, AreInOrder)
{
    EXPECT_EQ(Slot(&CMemBlockPtr::WriteBlock), 0U); // 1 and 2: the entries of the destructor
    EXPECT_EQ(Slot(&CMemBlockPtr::Read), 3U);
    EXPECT_EQ(Slot(&CMemBlockPtr::SetPosition), 4U);
    EXPECT_EQ(Slot(&CMemBlockPtr::GetPosition), 5U);
    EXPECT_EQ(Slot(&CMemBlockPtr::Write), 6U);
    EXPECT_EQ(Slot(&CMemBlockPtr::Flush), 7U);

    EXPECT_EQ(Slot(&CFileAccess::WriteBlock), 0U);
    EXPECT_EQ(Slot(&CFileAccess::Write), 1U);
    EXPECT_EQ(Slot(&CFileAccess::Read), 2U);
    EXPECT_EQ(Slot(&CFileAccess::SetPosition), 3U);
    EXPECT_EQ(Slot(&CFileAccess::Flush), 4U);
    EXPECT_EQ(Slot(&CFileAccess::GetPosition), 5U);

    EXPECT_EQ(Slot(&IFileReader::GetPosition), 2U);
    EXPECT_EQ(Slot(&IFileWriter::Flush), 1U);
    EXPECT_EQ(Slot(&ISticky::Release), 1U);
    EXPECT_EQ(Slot(&IBaseLogger::GetLowestLoggerServerity), 2U);
    EXPECT_EQ(Slot(&IXMLLogger::LogMessage), 3U);
    EXPECT_EQ(Slot(&ITextLogger::LogMessage), 3U);
    EXPECT_EQ(Slot(&ITextLogger::LogMessageF), 4U);
    EXPECT_EQ(Slot(&ITextLogger::LogMessageV), 5U);
    EXPECT_EQ(Slot(&IWebServerExtContext::Write), 2U);
    EXPECT_EQ(Slot(&IXMLAble::ToXML), 0U);
    EXPECT_EQ(Slot(&IXMLAble::FromXML), 1U);
    EXPECT_EQ(Slot(&IXMLAble::GetExtraBinaryData), 2U);
    EXPECT_EQ(Slot(&IXMLAble::GetXMLMessageType), 3U);
}

} // namespace

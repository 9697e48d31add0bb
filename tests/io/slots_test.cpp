// The order of virtual operations, on which programs built apart from this library rely.

#include <bit>

#include "config/xml_record.h"
#include "io/file_access.h"
#include "logging/logger.h"
#include "mu/http_reply.h"
#include "mu/memory_block.h"
#include "tests/support/testing.h"

namespace
{

// A pointer to a virtual member begins with its slot's offset, plus 1 where code addresses may be
// even (the Itanium C++ ABI and its variant for ARM).
template <class... TMembers>
std::vector<std::uintptr_t> Slots(TMembers... members)
{
    return {std::bit_cast<std::array<std::uintptr_t, 2>>(members)[0] / sizeof(void*)...};
}

TEST(Slots, AreInOrder)
{
    using testing::ElementsAre;
    EXPECT_THAT(Slots(&CMemBlockPtr::WriteBlock, &CMemBlockPtr::Read, &CMemBlockPtr::SetPosition,
                      &CMemBlockPtr::GetPosition, &CMemBlockPtr::Write, &CMemBlockPtr::Flush),
                ElementsAre(0, 3, 4, 5, 6, 7)); // 1 and 2: the entries of the destructor
    EXPECT_THAT(Slots(&CFileAccess::WriteBlock, &CFileAccess::Write, &CFileAccess::Read,
                      &CFileAccess::SetPosition, &CFileAccess::Flush, &CFileAccess::GetPosition),
                ElementsAre(0, 1, 2, 3, 4, 5));
    EXPECT_THAT(Slots(&IFileReader::GetPosition, &IFileWriter::Flush, &ISticky::Release,
                      &IBaseLogger::GetLowestLoggerServerity, &IXMLLogger::LogMessage,
                      &IWebServerExtContext::Write),
                ElementsAre(2, 1, 1, 2, 3, 2));
    EXPECT_THAT(Slots(&ITextLogger::LogMessage, &ITextLogger::LogMessageF,
                      &ITextLogger::LogMessageV, &IXMLAble::ToXML, &IXMLAble::FromXML,
                      &IXMLAble::GetExtraBinaryData, &IXMLAble::GetXMLMessageType),
                ElementsAre(3, 4, 5, 0, 1, 2, 3));
}

} // namespace

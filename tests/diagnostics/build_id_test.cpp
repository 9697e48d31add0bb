#include "diagnostics/build_id.h"

#include "tests/support/testing.h"

TEST(BuildID, IsTheOneInTheProgramsNotes)
{
    const std::string strVersion = mu::GetVersionWithBuildID("1.0");
    ASSERT_EQ(strVersion.substr(0, 4), "1.0+");
    std::string strNote("GNU\0", 4);
    for (std::size_t u = 4; u < strVersion.size(); u += 2)
        strNote += static_cast<char>(std::stoi(strVersion.substr(u, 2), nullptr, 16));
    EXPECT_GE(strNote.size(), 4U + 8);
    const std::string strProgram = ReadFile(testing::internal::GetArgvs().front());
    EXPECT_NE(strProgram.find(strNote), std::string::npos);

    const std::string strCut = std::string(60, 'v') + strVersion.substr(3);
    EXPECT_EQ(mu::GetVersionWithBuildID(std::string(61, 'v').c_str()), strCut);
}

#include <gtest/gtest.h>

#include "mu/ip_prefix.h"
#include "mu/network_interfaces.h"

TEST(IpPrefix, MasksThereAndBack)
{
    for (const bool bIPv6 : {false, true})
    {
        const int iBits = bIPv6 ? 128 : 32;
        for (int i = 0; i <= iBits; ++i)
            EXPECT_EQ(mu::MaskTextToPrefixLength(mu::PrefixLengthToMaskText(i, bIPv6)), i);
        for (const int i : {-1, iBits + 1})
            EXPECT_EQ(mu::PrefixLengthToMaskText(i, bIPv6), "");
    }
    EXPECT_EQ(mu::PrefixLengthToMaskText(20, false), "255.255.240.0");
    EXPECT_EQ(mu::PrefixLengthToMaskText(52, true), "ffff:ffff:ffff:f000::");
    for (const char* const szWrong :
         {"", "255.0.255.0", "255.253.0.0", "0.0.0.1", "::1", "255.0.0"})
        EXPECT_EQ(mu::MaskTextToPrefixLength(szWrong), -1) << szWrong;
}

TEST(NetworkInterfaces, TheLoopbackIsFoundByNameAndAddress)
{
    mu::SNetworkInterface byName, byAddress;
    if (!mu::FindNetworkInterfaceByName("lo", byName))
        GTEST_SKIP() << "no loopback interface here";
    EXPECT_TRUE(byName.m_bLoopback && byName.m_uIndex != 0);
    for (const mu::SInterfaceAddress& address : byName.m_vAddresses)
    {
        ASSERT_TRUE(mu::FindNetworkInterfaceByAddress(address.m_strAddress, byAddress));
        EXPECT_EQ(byAddress.m_strName, "lo");
        EXPECT_GE(address.m_iPrefixLength, 8);
    }
    EXPECT_FALSE(mu::FindNetworkInterfaceByName("lo?", byName) ||
                 mu::FindNetworkInterfaceByAddress("nowhere", byName));
}

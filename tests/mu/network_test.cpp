#include <net/if.h>

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
    std::string strMask(5, '*');
    EXPECT_TRUE(mu::PrefixLengthToMask(20, strMask.data(), 4));
    EXPECT_EQ(strMask, std::string("\xFF\xFF\xF0\0*", 5));
    EXPECT_FALSE(mu::PrefixLengthToMask(8, strMask.data(), 3));
    EXPECT_EQ(mu::MaskToPrefixLength(strMask.data(), 3), -1);
    EXPECT_EQ(mu::PrefixLengthToMaskText(52, true), "ffff:ffff:ffff:f000::");
    for (const char* const szWrong :
         {"", "255.0.255.0", "255.253.0.0", "0.0.0.1", "::1", "255.0.0"})
        EXPECT_EQ(mu::MaskTextToPrefixLength(szWrong), -1) << szWrong;
}

TEST(NetworkInterfaces, TheLoopbackIsFoundByNameAndAddress)
{
    mu::SNetworkInterface byName, byAddress;
    const unsigned int uIndex = ::if_nametoindex("lo");
    if (uIndex == 0)
        GTEST_SKIP() << "no loopback interface here";
    ASSERT_TRUE(mu::FindNetworkInterfaceByName("lo", byName));
    EXPECT_TRUE(byName.m_bLoopback);
    EXPECT_EQ(byName.m_uIndex, uIndex);
    for (const mu::SInterfaceAddress& address : byName.m_vAddresses)
    {
        ASSERT_TRUE(mu::FindNetworkInterfaceByAddress(address.m_strAddress, byAddress));
        EXPECT_EQ(byAddress.m_strName, "lo");
        EXPECT_TRUE(byAddress.m_bUp);
        EXPECT_GE(address.m_iPrefixLength, 8);
    }
    EXPECT_FALSE(mu::FindNetworkInterfaceByName("lo?", byName));
    EXPECT_FALSE(mu::FindNetworkInterfaceByAddress("nowhere", byName));
}

#include "run/Publishers.h"

#include <gtest/gtest.h>

namespace {

TEST(Publishers, AreTheTwoNamesThatSignTheProduct) {
    EXPECT_STREQ(
        PublisherDnCurrent.text(),
        L"CN=Velta Inc., OU=Velta Inc., O=Velta Inc., L=Port Alder, S=ca, C=US, SERIALNUMBER=9150426, OID.2.5.4.15=Private Organization, OID.1.3.6.1.4.1.311.60.2.1.2=Tarrant, OID.1.3.6.1.4.1.311.60.2.1.3=US");
    EXPECT_STREQ(
        PublisherDnLegacy.text(),
        L"CN=Velta Systems Incorporated, OU=Velta Systems, O=Velta Systems Incorporated, L=Port Alder, S=Norvale, C=US, SERIALNUMBER=9150426, OID.2.5.4.15=Private Organization, OID.1.3.6.1.4.1.311.60.2.1.2=Tarrant, OID.1.3.6.1.4.1.311.60.2.1.3=US");
}

}  // namespace

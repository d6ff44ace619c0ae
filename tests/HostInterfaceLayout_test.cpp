#include "PIHostInterface.h"
#include "QDDiskServer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

// The host hands over its own message and suite tables: every member the
// plug-in reads must sit where the host's published layout puts it, in the
// 32-bit plug-in the host loads and in a 64-bit one alike.
namespace
{
struct Place
{
    const char* what;
    size_t actual;
    size_t in32; // with 4-byte pointers
    size_t in64; // with 8-byte pointers
};

#define TIV_AT(type, member) #type "::" #member, offsetof(type, member)
#define TIV_SIZE(type) "sizeof " #type, sizeof(type)
} // namespace

TEST(HostInterfaceLayout, MessagesParametersAndSuiteSlotsSitWhereTheHostPutsThem)
{
    static_assert(sizeof(void*) == 4 || sizeof(void*) == 8, "only 32 and 64 bits are known");
    const Place places[] = {
        {TIV_SIZE(SPErr), 4, 4},
        {TIV_SIZE(PIOSErr), 2, 2},
        {TIV_SIZE(PIBoolean), 1, 1},
        {TIV_SIZE(SPBoolean), 4, 4},
        {TIV_SIZE(DescriptorTypeID), 4, 4},
        {TIV_SIZE(PIHandle), 4, 8},

        {TIV_AT(SPMessageData, SPCheck), 0, 0},
        {TIV_AT(SPMessageData, self), 4, 8},
        {TIV_AT(SPMessageData, globals), 8, 16},
        {TIV_AT(SPMessageData, basic), 12, 24},
        {TIV_SIZE(SPMessageData), 16, 32},
        {TIV_AT(PSActionsPlugInMessage, d), 0, 0},
        {TIV_AT(PSActionsPlugInMessage, actionParameters), 16, 32},
        {TIV_SIZE(PSActionsPlugInMessage), 20, 40},
        {TIV_AT(PIActionParameters, playInfo), 0, 0},
        {TIV_AT(PIActionParameters, recordInfo), 4, 4},
        {TIV_AT(PIActionParameters, descriptor), 8, 8},
        {TIV_SIZE(PIActionParameters), 12, 16},

        // Basic suite: slots 1, 2, 3 and the whole table of 7.
        {TIV_AT(SPBasicSuite, AcquireSuite), 0, 0},
        {TIV_AT(SPBasicSuite, ReleaseSuite), 4, 8},
        {TIV_AT(SPBasicSuite, IsEqual), 8, 16},
        {TIV_AT(SPBasicSuite, Undefined), 24, 48},
        {TIV_SIZE(SPBasicSuite), 28, 56},
        // Action control: slots 1 to 3.
        {TIV_AT(PIActionControlSuite, Play), 0, 0},
        {TIV_AT(PIActionControlSuite, Get), 4, 8},
        {TIV_AT(PIActionControlSuite, StringIDToTypeID), 8, 16},
        // Action reference: slots 1, 2, 9, 10.
        {TIV_AT(PIActionReferenceSuite, Make), 0, 0},
        {TIV_AT(PIActionReferenceSuite, Free), 4, 8},
        {TIV_AT(PIActionReferenceSuite, PutEnumerated), 32, 64},
        {TIV_AT(PIActionReferenceSuite, PutProperty), 36, 72},
        // Action descriptor: slots 1, 2, 13, 19, 22, 27.
        {TIV_AT(PIActionDescriptorSuite, Make), 0, 0},
        {TIV_AT(PIActionDescriptorSuite, Free), 4, 8},
        {TIV_AT(PIActionDescriptorSuite, PutString), 48, 96},
        {TIV_AT(PIActionDescriptorSuite, PutReference), 72, 144},
        {TIV_AT(PIActionDescriptorSuite, PutAlias), 84, 168},
        {TIV_AT(PIActionDescriptorSuite, GetString), 104, 208},
        // Handle: slots 1 and 2; alias utility: slot 1.
        {TIV_AT(PIHandleSuite, New), 0, 0},
        {TIV_AT(PIHandleSuite, Dispose), 4, 8},
        {TIV_AT(PIAliasSuite, MacNewAliasFromCString), 0, 0},
        // The process serial number goes into Apple events as 8 bytes ('psn ').
        {TIV_AT(ProcessSerialNumber, lowLongOfPSN), 4, 4},
        {TIV_SIZE(ProcessSerialNumber), 8, 8},
    };
    for (const Place& p : places)
        EXPECT_EQ(p.actual, sizeof(void*) == 4 ? p.in32 : p.in64)
            << p.what << " with " << sizeof(void*) << "-byte pointers";

    // The names the host looks suites up by.
    const std::pair<const char*, const char*> names[] = {
        {kPSActionControlSuite, "bc1e4d70-f953-11d0-8d9f-00c04fd5f7ee"},
        {kPSActionReferenceSuite, "df135117-c769-11d0-8079-00c04fd7ec47"},
        {kPSActionDescriptorSuite, "df135115-c769-11d0-8079-00c04fd7ec47"},
        {kPSHandleSuite, "Photoshop Handle Suite for Plug-ins"},
        {kPSAliasSuite, "Photoshop Alias Utility Suite"},
    };
    for (const auto& n : names)
        EXPECT_STREQ(n.first, n.second);
}

#pragma once

// The image editor's plug-in interface as this plug-in sees it: the message the
// automation entry receives, the basic suite and the action, handle and alias
// suites. Every table keeps the host's slot order up to the last slot anyone
// here calls, so that a real host's table reads correctly through it.
//
// Names that the Mac's own headers also declare (OSErr, Boolean, Handle,
// AliasHandle, typeText) carry a PI prefix here, so that a unit may see both.

#include <cstddef>
#include <cstdint>

typedef int32_t SPErr;
typedef int16_t PIOSErr;
typedef uint8_t PIBoolean;
typedef int32_t SPBoolean;

typedef uint32_t DescriptorTypeID;
typedef uint32_t DescriptorKeyID;
typedef uint32_t DescriptorClassID;
typedef uint32_t DescriptorEventID;
typedef uint32_t DescriptorEnumTypeID;
typedef uint32_t DescriptorEnumID;
typedef uint32_t DescriptorUnitID;
typedef uint32_t DescriptorFormID;

// Host-owned objects; only the host knows what they point to.
typedef struct PIActionDescriptorData* PIActionDescriptor;
typedef struct PIActionReferenceData* PIActionReference;
typedef struct PIActionListData* PIActionList;
typedef struct SPPluginData* SPPluginRef;

typedef char** PIHandle;
typedef PIHandle PIAliasHandle;

// A four-character code: the first character in the most significant byte.
constexpr uint32_t piCode(const char (&c)[5])
{
    return (uint32_t(uint8_t(c[0])) << 24) | (uint32_t(uint8_t(c[1])) << 16) |
           (uint32_t(uint8_t(c[2])) << 8) | uint32_t(uint8_t(c[3]));
}

constexpr SPErr kSPNoError = 0;
constexpr SPErr kSPBadParameterError = SPErr(piCode("Parm"));
constexpr int32_t kSPCheck = int32_t(piCode("SPCk"));

constexpr DescriptorClassID classLayer = piCode("Lyr ");
constexpr DescriptorClassID classProperty = piCode("Prpr");
constexpr DescriptorKeyID keyName = piCode("Nm  ");
constexpr DescriptorKeyID keyFileReference = piCode("FilR");
constexpr DescriptorKeyID keyTarget = piCode("null");
constexpr DescriptorKeyID keyTo = piCode("T   ");
constexpr DescriptorEnumTypeID typeOrdinal = piCode("Ordn");
constexpr DescriptorEnumID enumTarget = piCode("Trgt");
constexpr DescriptorTypeID piTypeText = piCode("TEXT");
constexpr DescriptorEventID eventGet = piCode("getd");
constexpr DescriptorEventID eventSet = piCode("setd");

// Dialog play options.
constexpr int32_t plugInDialogDontDisplay = 0;
constexpr int32_t plugInDialogDisplay = 1;
constexpr int32_t plugInDialogSilent = 2;

struct SPBasicSuite
{
    SPErr (*AcquireSuite)(const char* name, int32_t version, const void** suite);
    SPErr (*ReleaseSuite)(const char* name, int32_t version);
    SPBoolean (*IsEqual)(const char* token1, const char* token2);
    SPErr (*AllocateBlock)(size_t size, void** block);
    SPErr (*FreeBlock)(void* block);
    SPErr (*ReallocateBlock)(void* block, size_t newSize, void** newBlock);
    SPErr (*Undefined)(void);
};

struct SPMessageData
{
    int32_t SPCheck;
    SPPluginRef self;
    void* globals;
    SPBasicSuite* basic;
};

struct PIActionParameters
{
    int32_t playInfo;
    int32_t recordInfo;
    PIActionDescriptor descriptor;
};

struct PSActionsPlugInMessage
{
    SPMessageData d;
    PIActionParameters* actionParameters;
};

#define kPSActionControlSuite "bc1e4d70-f953-11d0-8d9f-00c04fd5f7ee"
#define kPSActionControlSuiteVersion 2

struct PIActionControlSuite
{
    PIOSErr (*Play)(PIActionDescriptor* result, DescriptorEventID event,
                  PIActionDescriptor descriptor, int32_t playOptions);
    PIOSErr (*Get)(PIActionDescriptor* result, PIActionReference reference);
    PIOSErr (*StringIDToTypeID)(char* stringID, DescriptorTypeID* typeID);
};

#define kPSActionReferenceSuite "df135117-c769-11d0-8079-00c04fd7ec47"
#define kPSActionReferenceSuiteVersion 3

struct PIActionReferenceSuite
{
    PIOSErr (*Make)(PIActionReference* reference);
    PIOSErr (*Free)(PIActionReference reference);
    PIOSErr (*GetForm)(PIActionReference reference, DescriptorFormID* form);
    PIOSErr (*GetDesiredClass)(PIActionReference reference, DescriptorClassID* desiredClass);
    PIOSErr (*PutName)(PIActionReference reference, DescriptorClassID desiredClass, char* name);
    PIOSErr (*PutIndex)(PIActionReference reference, DescriptorClassID desiredClass, uint32_t index);
    PIOSErr (*PutIdentifier)(PIActionReference reference, DescriptorClassID desiredClass,
                           uint32_t identifier);
    PIOSErr (*PutOffset)(PIActionReference reference, DescriptorClassID desiredClass, int32_t offset);
    PIOSErr (*PutEnumerated)(PIActionReference reference, DescriptorClassID desiredClass,
                           DescriptorEnumTypeID type, DescriptorEnumID value);
    PIOSErr (*PutProperty)(PIActionReference reference, DescriptorClassID desiredClass,
                         DescriptorKeyID property);
};

#define kPSActionDescriptorSuite "df135115-c769-11d0-8079-00c04fd7ec47"
#define kPSActionDescriptorSuiteVersion 3

struct PIActionDescriptorSuite
{
    PIOSErr (*Make)(PIActionDescriptor* descriptor);
    PIOSErr (*Free)(PIActionDescriptor descriptor);
    PIOSErr (*GetType)(PIActionDescriptor descriptor, DescriptorKeyID key, DescriptorTypeID* type);
    PIOSErr (*GetKey)(PIActionDescriptor descriptor, uint32_t index, DescriptorKeyID* key);
    PIOSErr (*HasKey)(PIActionDescriptor descriptor, DescriptorKeyID key, PIBoolean* hasKey);
    PIOSErr (*GetCount)(PIActionDescriptor descriptor, uint32_t* count);
    PIOSErr (*IsEqual)(PIActionDescriptor descriptor, PIActionDescriptor other, PIBoolean* isEqual);
    PIOSErr (*Erase)(PIActionDescriptor descriptor, DescriptorKeyID key);
    PIOSErr (*Clear)(PIActionDescriptor descriptor);
    PIOSErr (*PutInteger)(PIActionDescriptor descriptor, DescriptorKeyID key, int32_t value);
    PIOSErr (*PutFloat)(PIActionDescriptor descriptor, DescriptorKeyID key, double value);
    PIOSErr (*PutUnitFloat)(PIActionDescriptor descriptor, DescriptorKeyID key, DescriptorUnitID unit,
                          double value);
    PIOSErr (*PutString)(PIActionDescriptor descriptor, DescriptorKeyID key, char* cstrValue);
    PIOSErr (*PutBoolean)(PIActionDescriptor descriptor, DescriptorKeyID key, PIBoolean value);
    PIOSErr (*PutList)(PIActionDescriptor descriptor, DescriptorKeyID key, PIActionList value);
    PIOSErr (*PutObject)(PIActionDescriptor descriptor, DescriptorKeyID key, DescriptorClassID type,
                       PIActionDescriptor value);
    PIOSErr (*PutGlobalObject)(PIActionDescriptor descriptor, DescriptorKeyID key,
                             DescriptorClassID type, PIActionDescriptor value);
    PIOSErr (*PutEnumerated)(PIActionDescriptor descriptor, DescriptorKeyID key,
                           DescriptorEnumTypeID type, DescriptorEnumID value);
    PIOSErr (*PutReference)(PIActionDescriptor descriptor, DescriptorKeyID key,
                          PIActionReference value);
    PIOSErr (*PutClass)(PIActionDescriptor descriptor, DescriptorKeyID key, DescriptorClassID value);
    PIOSErr (*PutGlobalClass)(PIActionDescriptor descriptor, DescriptorKeyID key,
                            DescriptorClassID value);
    PIOSErr (*PutAlias)(PIActionDescriptor descriptor, DescriptorKeyID key, PIHandle value);
    PIOSErr (*GetInteger)(PIActionDescriptor descriptor, DescriptorKeyID key, int32_t* value);
    PIOSErr (*GetFloat)(PIActionDescriptor descriptor, DescriptorKeyID key, double* value);
    PIOSErr (*GetUnitFloat)(PIActionDescriptor descriptor, DescriptorKeyID key,
                          DescriptorUnitID* unit, double* value);
    PIOSErr (*GetStringLength)(PIActionDescriptor descriptor, DescriptorKeyID key,
                             uint32_t* stringLength);
    // maxLength counts the terminator: at most maxLength - 1 characters arrive.
    PIOSErr (*GetString)(PIActionDescriptor descriptor, DescriptorKeyID key, char* cstrValue,
                       uint32_t maxLength);
};

#define kPSHandleSuite "Photoshop Handle Suite for Plug-ins"
#define kPSHandleSuiteVersion 2

struct PIHandleSuite
{
    PIHandle (*New)(int32_t size);
    void (*Dispose)(PIHandle h);
};

#define kPSAliasSuite "Photoshop Alias Utility Suite"
#define kPSAliasSuiteVersion 1

struct PIAliasSuite
{
    SPErr (*MacNewAliasFromCString)(const char* path, PIAliasHandle* alias);
};

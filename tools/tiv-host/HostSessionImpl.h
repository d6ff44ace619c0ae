#pragma once

// What the simulated editor's suite files share: the objects behind the plug-in
// interface's opaque pointers, the session's state, the suite tables and the
// one live session that those plain C tables reach.

#include "HostSession.h"

#include <set>

struct HostItem
{
    DescriptorKeyID key = 0;
    DescriptorTypeID type = 0;
    int32_t integer = 0;
    double number = 0.0;
    std::string text; // strings, and the path of an alias
    DescriptorClassID classID = 0;
    DescriptorEnumTypeID enumType = 0;
    DescriptorEnumID enumValue = 0;
    std::shared_ptr<const PIActionDescriptorData> object;
    std::shared_ptr<const PIActionReferenceData> reference;
};

struct PIActionDescriptorData
{
    std::vector<HostItem> items;

    const HostItem* find(DescriptorKeyID key) const
    {
        for (const HostItem& item : items)
            if (item.key == key) return &item;
        return nullptr;
    }
    // A put replaces what the key held.
    HostItem& put(DescriptorKeyID key, DescriptorTypeID type)
    {
        for (HostItem& item : items)
            if (item.key == key)
            {
                item = HostItem();
                item.key = key;
                item.type = type;
                return item;
            }
        items.emplace_back();
        items.back().key = key;
        items.back().type = type;
        return items.back();
    }
};

struct HostReferencePart
{
    DescriptorFormID form = 0;
    DescriptorClassID desiredClass = 0;
    DescriptorKeyID property = 0;
    DescriptorEnumTypeID enumType = 0;
    DescriptorEnumID enumValue = 0;
    std::string name;
    uint32_t index = 0;
    int32_t offset = 0;
};

struct PIActionReferenceData
{
    std::vector<HostReferencePart> parts;
};

struct HostHandleBlock
{
    char* data = nullptr;
    std::vector<char> bytes;
};

constexpr DescriptorTypeID typeInteger = piCode("long");
constexpr DescriptorTypeID typeFloat = piCode("doub");
constexpr DescriptorTypeID typeUnitFloat = piCode("UntF");
constexpr DescriptorTypeID typeBoolean = piCode("bool");
constexpr DescriptorTypeID typeObject = piCode("Objc");
constexpr DescriptorTypeID typeEnumerated = piCode("enum");
constexpr DescriptorTypeID typeReference = piCode("obj ");
constexpr DescriptorTypeID typeClass = piCode("type");
constexpr DescriptorTypeID typeAlias = piCode("alis");
constexpr DescriptorFormID formProperty = piCode("prop");
constexpr DescriptorFormID formEnumerated = piCode("Enmr");
constexpr DescriptorFormID formName = piCode("name");
constexpr DescriptorFormID formIndex = piCode("indx");
constexpr DescriptorFormID formIdentifier = piCode("Idnt");
constexpr DescriptorFormID formOffset = piCode("rele");

// A four-character code as 'abcd', or in hex when it is not printable.
std::string hostCodeText(uint32_t code);

struct HostSession::Impl
{
    HostDocument document;
    std::set<std::string> denied;
    bool offerAll = false;
    std::vector<std::string> events;
    std::vector<std::string> calls;
    std::vector<HostExportRequest> exports;
    std::map<std::string, int> acquisitions;
    std::map<std::string, int> held;
    std::set<PIActionDescriptorData*> descriptors;
    std::set<PIActionReferenceData*> references;
    std::map<PIHandle, std::unique_ptr<HostHandleBlock>> handles;
    std::map<std::string, DescriptorTypeID> stringIDs;
    SPBasicSuite basic;

    ~Impl();

    void event(const std::string& text) { events.push_back(text); }
    void call(const char* name) { calls.push_back(name); }

    // The object behind a pointer the plug-in passed, or null (and an event)
    // when the editor never made it or it was given back already.
    PIActionDescriptorData* descriptor(PIActionDescriptor d, const char* operation);
    PIActionReferenceData* reference(PIActionReference r, const char* operation);

    PIHandle newHandle(const char* bytes, size_t size);
    PIActionDescriptorData* makeDescriptor();

    std::string stringIDOf(DescriptorTypeID id) const;
    DescriptorTypeID idOf(const std::string& stringID);

    // The events the action control plays and the objects it gets.
    PIOSErr exportLayer(const PIActionDescriptorData& request, int32_t playOptions);
    PIOSErr setLayer(const PIActionDescriptorData& request);
    PIOSErr getLayer(const PIActionReferenceData& reference, PIActionDescriptor* result);
};

// The live session, or null: the suites' procedures have no other way to it.
HostSession::Impl* activeHostSession();

extern const PIActionControlSuite hostControlSuite;
extern const PIActionReferenceSuite hostReferenceSuite;
extern const PIActionDescriptorSuite hostDescriptorSuite;
extern const PIHandleSuite hostHandleSuite;
extern const PIAliasSuite hostAliasSuite;

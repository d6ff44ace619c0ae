#include "HostSession.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

// The host's objects behind the plug-in interface's opaque pointers.
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

namespace
{
const DescriptorTypeID typeInteger = piCode("long");
const DescriptorTypeID typeFloat = piCode("doub");
const DescriptorTypeID typeUnitFloat = piCode("UntF");
const DescriptorTypeID typeBoolean = piCode("bool");
const DescriptorTypeID typeObject = piCode("Objc");
const DescriptorTypeID typeEnumerated = piCode("enum");
const DescriptorTypeID typeReference = piCode("obj ");
const DescriptorTypeID typeClass = piCode("type");
const DescriptorTypeID typeAlias = piCode("alis");
const DescriptorFormID formProperty = piCode("prop");
const DescriptorFormID formEnumerated = piCode("Enmr");
const DescriptorFormID formName = piCode("name");
const DescriptorFormID formIndex = piCode("indx");
const DescriptorFormID formIdentifier = piCode("Idnt");
const DescriptorFormID formOffset = piCode("rele");
// Runtime identifiers of string IDs start here, well clear of four-character codes.
const DescriptorTypeID s_firstRuntimeID = 0x00020000;
// Larger handle requests are refused rather than tried.
const int32_t s_maxHandleSize = 64 << 20;

struct HandleBlock
{
    char* data = nullptr;
    std::vector<char> bytes;
};

std::string codeText(uint32_t code)
{
    char text[8] = {'\'', char(code >> 24), char(code >> 16), char(code >> 8), char(code), '\'', 0};
    for (int i = 1; i < 5; ++i)
        if (text[i] < 32 || text[i] > 126) return "0x" + std::to_string(code);
    return text;
}

struct SuiteOffer
{
    const char* name;
    int32_t version;
    const char* label;
    const void* table;
};
} // namespace

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
    std::map<PIHandle, std::unique_ptr<HandleBlock>> handles;
    std::map<std::string, DescriptorTypeID> stringIDs;
    SPBasicSuite basic;

    ~Impl()
    {
        for (PIActionDescriptorData* d : descriptors)
            delete d;
        for (PIActionReferenceData* r : references)
            delete r;
    }

    void event(const std::string& text) { events.push_back(text); }
    void call(const char* name) { calls.push_back(name); }

    PIActionDescriptorData* descriptor(PIActionDescriptor d, const char* operation)
    {
        call(operation);
        if (d != nullptr && descriptors.count(d) != 0) return d;
        event("used a descriptor the editor never made or already freed (" +
              std::string(operation) + ")");
        return nullptr;
    }
    PIActionReferenceData* reference(PIActionReference r, const char* operation)
    {
        call(operation);
        if (r != nullptr && references.count(r) != 0) return r;
        event("used a reference the editor never made or already freed (" + std::string(operation) +
              ")");
        return nullptr;
    }

    PIHandle newHandle(const char* bytes, size_t size)
    {
        auto block = std::make_unique<HandleBlock>();
        block->bytes.assign(bytes, bytes + size);
        block->data = block->bytes.data();
        PIHandle h = &block->data;
        handles[h] = std::move(block);
        return h;
    }

    std::string stringIDOf(DescriptorTypeID id) const
    {
        for (const auto& entry : stringIDs)
            if (entry.second == id) return entry.first;
        return codeText(id);
    }

    DescriptorTypeID idOf(const std::string& stringID)
    {
        auto found = stringIDs.find(stringID);
        if (found != stringIDs.end()) return found->second;
        DescriptorTypeID id = s_firstRuntimeID + DescriptorTypeID(stringIDs.size());
        stringIDs[stringID] = id;
        return id;
    }

    PIActionDescriptorData* makeDescriptor()
    {
        PIActionDescriptorData* d = new PIActionDescriptorData;
        descriptors.insert(d);
        return d;
    }

    PIOSErr exportLayer(const PIActionDescriptorData& request, int32_t playOptions);
    PIOSErr setLayer(const PIActionDescriptorData& request);
    PIOSErr getLayer(const PIActionReferenceData& reference, PIActionDescriptor* result);
};

namespace
{
HostSession::Impl* s_session = nullptr;

// ---- Basic suite ------------------------------------------------------------

extern const PIActionControlSuite s_controlSuite;
extern const PIActionReferenceSuite s_referenceSuite;
extern const PIActionDescriptorSuite s_descriptorSuite;
extern const PIHandleSuite s_handleSuite;
extern const PIAliasSuite s_aliasSuite;
// Handed out for suites offered without procedures; wide enough for any table.
const void* const s_inertSuite[64] = {};

const SuiteOffer s_offers[] = {
    {kPSActionDescriptorSuite, kPSActionDescriptorSuiteVersion, "Action Descriptor",
     &s_descriptorSuite},
    {kPSActionControlSuite, kPSActionControlSuiteVersion, "Action Control", &s_controlSuite},
    {kPSActionReferenceSuite, kPSActionReferenceSuiteVersion, "Action Reference",
     &s_referenceSuite},
    {kPSHandleSuite, kPSHandleSuiteVersion, "Handle", &s_handleSuite},
    {kPSAliasSuite, kPSAliasSuiteVersion, "Alias Utility", &s_aliasSuite},
};

std::string suiteLabel(const char* name, int32_t version)
{
    for (const SuiteOffer& offer : s_offers)
        if (strcmp(offer.name, name) == 0)
            return std::string(offer.label) + " suite, version " + std::to_string(version);
    return std::string("\"") + name + "\", version " + std::to_string(version);
}

SPErr acquireSuite(const char* name, int32_t version, const void** suite)
{
    HostSession::Impl* s = s_session;
    if (s == nullptr) return kSPBadParameterError;
    s->call("Basic.AcquireSuite");
    if (name == nullptr || suite == nullptr) return kSPBadParameterError;
    *suite = nullptr;
    ++s->acquisitions[name];
    if (s->denied.count(name) != 0)
    {
        s->event("asked for the " + suiteLabel(name, version) + ": refused (denied)");
        return hostSuiteNotOffered;
    }
    const void* table = nullptr;
    for (const SuiteOffer& offer : s_offers)
        if (strcmp(offer.name, name) == 0 && offer.version == version) table = offer.table;
    if (table == nullptr && s->offerAll) table = s_inertSuite;
    if (table == nullptr)
    {
        s->event("asked for the " + suiteLabel(name, version) + ": refused (not offered)");
        return hostSuiteNotOffered;
    }
    *suite = table;
    ++s->held[name];
    s->event("acquired the " + suiteLabel(name, version));
    return kSPNoError;
}

SPErr releaseSuite(const char* name, int32_t version)
{
    HostSession::Impl* s = s_session;
    if (s == nullptr) return kSPBadParameterError;
    s->call("Basic.ReleaseSuite");
    if (name == nullptr) return kSPBadParameterError;
    auto held = s->held.find(name);
    if (held == s->held.end() || held->second == 0)
    {
        s->event("released the " + suiteLabel(name, version) + ", which it did not hold");
        return kSPBadParameterError;
    }
    --held->second;
    s->event("released the " + suiteLabel(name, version));
    return kSPNoError;
}

SPBoolean isEqual(const char* a, const char* b)
{
    if (s_session != nullptr) s_session->call("Basic.IsEqual");
    return a != nullptr && b != nullptr && strcmp(a, b) == 0;
}

SPErr allocateBlock(size_t size, void** block)
{
    if (block == nullptr) return kSPBadParameterError;
    *block = malloc(size == 0 ? 1 : size);
    return *block != nullptr ? kSPNoError : kSPBadParameterError;
}

SPErr freeBlock(void* block)
{
    free(block);
    return kSPNoError;
}

SPErr reallocateBlock(void* block, size_t size, void** newBlock)
{
    if (newBlock == nullptr) return kSPBadParameterError;
    void* moved = realloc(block, size == 0 ? 1 : size);
    if (moved == nullptr) return kSPBadParameterError;
    *newBlock = moved;
    return kSPNoError;
}

SPErr undefinedProcedure()
{
    return kSPBadParameterError;
}

// ---- Action control ---------------------------------------------------------

PIOSErr controlPlay(PIActionDescriptor* result, DescriptorEventID event,
                  PIActionDescriptor descriptor, int32_t playOptions)
{
    HostSession::Impl* s = s_session;
    if (s == nullptr) return hostParameterError;
    if (result != nullptr) *result = nullptr;
    PIActionDescriptorData* request = s->descriptor(descriptor, "Control.Play");
    if (request == nullptr) return hostParameterError;
    PIOSErr error;
    if (s->stringIDs.count("export3DModel") != 0 && event == s->stringIDs["export3DModel"])
        error = s->exportLayer(*request, playOptions);
    else if (event == eventSet)
        error = s->setLayer(*request);
    else
    {
        s->event("played " + s->stringIDOf(event) + ", an event this editor does not handle");
        error = hostEventNotHandled;
    }
    if (error == 0 && result != nullptr) *result = s->makeDescriptor();
    return error;
}

PIOSErr controlGet(PIActionDescriptor* result, PIActionReference reference)
{
    HostSession::Impl* s = s_session;
    if (s == nullptr || result == nullptr) return hostParameterError;
    *result = nullptr;
    PIActionReferenceData* r = s->reference(reference, "Control.Get");
    if (r == nullptr) return hostParameterError;
    return s->getLayer(*r, result);
}

PIOSErr controlStringIDToTypeID(char* stringID, DescriptorTypeID* typeID)
{
    HostSession::Impl* s = s_session;
    if (s == nullptr) return hostParameterError;
    s->call("Control.StringIDToTypeID");
    if (stringID == nullptr || typeID == nullptr) return hostParameterError;
    *typeID = s->idOf(stringID);
    return 0;
}

const PIActionControlSuite s_controlSuite = {controlPlay, controlGet, controlStringIDToTypeID};

// ---- Action reference -------------------------------------------------------

PIOSErr referenceMake(PIActionReference* reference)
{
    HostSession::Impl* s = s_session;
    if (s == nullptr) return hostParameterError;
    s->call("Reference.Make");
    if (reference == nullptr) return hostParameterError;
    *reference = new PIActionReferenceData;
    s->references.insert(*reference);
    return 0;
}

PIOSErr referenceFree(PIActionReference reference)
{
    HostSession::Impl* s = s_session;
    if (s == nullptr) return hostParameterError;
    PIActionReferenceData* r = s->reference(reference, "Reference.Free");
    if (r == nullptr) return hostParameterError;
    s->references.erase(r);
    delete r;
    return 0;
}

template <typename Fill>
PIOSErr referencePut(PIActionReference reference, const char* operation, DescriptorFormID form,
                   DescriptorClassID desiredClass, Fill fill)
{
    HostSession::Impl* s = s_session;
    if (s == nullptr) return hostParameterError;
    PIActionReferenceData* r = s->reference(reference, operation);
    if (r == nullptr) return hostParameterError;
    HostReferencePart part;
    part.form = form;
    part.desiredClass = desiredClass;
    fill(part);
    r->parts.push_back(part);
    return 0;
}

PIOSErr referenceGetForm(PIActionReference reference, DescriptorFormID* form)
{
    HostSession::Impl* s = s_session;
    PIActionReferenceData* r = s ? s->reference(reference, "Reference.GetForm") : nullptr;
    if (r == nullptr || form == nullptr || r->parts.empty()) return hostParameterError;
    *form = r->parts.front().form;
    return 0;
}

PIOSErr referenceGetDesiredClass(PIActionReference reference, DescriptorClassID* desiredClass)
{
    HostSession::Impl* s = s_session;
    PIActionReferenceData* r = s ? s->reference(reference, "Reference.GetDesiredClass") : nullptr;
    if (r == nullptr || desiredClass == nullptr || r->parts.empty()) return hostParameterError;
    *desiredClass = r->parts.front().desiredClass;
    return 0;
}

PIOSErr referencePutName(PIActionReference reference, DescriptorClassID desiredClass, char* name)
{
    if (name == nullptr) return hostParameterError;
    return referencePut(reference, "Reference.PutName", formName, desiredClass,
                        [name](HostReferencePart& p) { p.name = name; });
}

PIOSErr referencePutIndex(PIActionReference reference, DescriptorClassID desiredClass, uint32_t index)
{
    return referencePut(reference, "Reference.PutIndex", formIndex, desiredClass,
                        [index](HostReferencePart& p) { p.index = index; });
}

PIOSErr referencePutIdentifier(PIActionReference reference, DescriptorClassID desiredClass,
                             uint32_t identifier)
{
    return referencePut(reference, "Reference.PutIdentifier", formIdentifier, desiredClass,
                        [identifier](HostReferencePart& p) { p.index = identifier; });
}

PIOSErr referencePutOffset(PIActionReference reference, DescriptorClassID desiredClass,
                         int32_t offset)
{
    return referencePut(reference, "Reference.PutOffset", formOffset, desiredClass,
                        [offset](HostReferencePart& p) { p.offset = offset; });
}

PIOSErr referencePutEnumerated(PIActionReference reference, DescriptorClassID desiredClass,
                             DescriptorEnumTypeID type, DescriptorEnumID value)
{
    return referencePut(reference, "Reference.PutEnumerated", formEnumerated, desiredClass,
                        [type, value](HostReferencePart& p)
                        {
                            p.enumType = type;
                            p.enumValue = value;
                        });
}

PIOSErr referencePutProperty(PIActionReference reference, DescriptorClassID desiredClass,
                           DescriptorKeyID property)
{
    return referencePut(reference, "Reference.PutProperty", formProperty, desiredClass,
                        [property](HostReferencePart& p) { p.property = property; });
}

const PIActionReferenceSuite s_referenceSuite = {
    referenceMake,          referenceFree,       referenceGetForm,       referenceGetDesiredClass,
    referencePutName,       referencePutIndex,   referencePutIdentifier, referencePutOffset,
    referencePutEnumerated, referencePutProperty};

// ---- Action descriptor ------------------------------------------------------

PIOSErr descriptorMake(PIActionDescriptor* descriptor)
{
    HostSession::Impl* s = s_session;
    if (s == nullptr) return hostParameterError;
    s->call("Descriptor.Make");
    if (descriptor == nullptr) return hostParameterError;
    *descriptor = s->makeDescriptor();
    return 0;
}

PIOSErr descriptorFree(PIActionDescriptor descriptor)
{
    HostSession::Impl* s = s_session;
    PIActionDescriptorData* d = s ? s->descriptor(descriptor, "Descriptor.Free") : nullptr;
    if (d == nullptr) return hostParameterError;
    s->descriptors.erase(d);
    delete d;
    return 0;
}

PIActionDescriptorData* target(PIActionDescriptor descriptor, const char* operation)
{
    return s_session ? s_session->descriptor(descriptor, operation) : nullptr;
}

const HostItem* itemOf(PIActionDescriptor descriptor, DescriptorKeyID key, const char* operation)
{
    PIActionDescriptorData* d = target(descriptor, operation);
    return d ? d->find(key) : nullptr;
}

PIOSErr descriptorGetType(PIActionDescriptor descriptor, DescriptorKeyID key, DescriptorTypeID* type)
{
    const HostItem* item = itemOf(descriptor, key, "Descriptor.GetType");
    if (item == nullptr || type == nullptr) return hostParameterError;
    *type = item->type;
    return 0;
}

PIOSErr descriptorGetKey(PIActionDescriptor descriptor, uint32_t index, DescriptorKeyID* key)
{
    PIActionDescriptorData* d = target(descriptor, "Descriptor.GetKey");
    if (d == nullptr || key == nullptr || index >= d->items.size()) return hostParameterError;
    *key = d->items[index].key;
    return 0;
}

PIOSErr descriptorHasKey(PIActionDescriptor descriptor, DescriptorKeyID key, PIBoolean* hasKey)
{
    PIActionDescriptorData* d = target(descriptor, "Descriptor.HasKey");
    if (d == nullptr || hasKey == nullptr) return hostParameterError;
    *hasKey = d->find(key) != nullptr;
    return 0;
}

PIOSErr descriptorGetCount(PIActionDescriptor descriptor, uint32_t* count)
{
    PIActionDescriptorData* d = target(descriptor, "Descriptor.GetCount");
    if (d == nullptr || count == nullptr) return hostParameterError;
    *count = uint32_t(d->items.size());
    return 0;
}

PIOSErr descriptorIsEqual(PIActionDescriptor descriptor, PIActionDescriptor other, PIBoolean* equal)
{
    PIActionDescriptorData* d = target(descriptor, "Descriptor.IsEqual");
    PIActionDescriptorData* o = d ? target(other, "Descriptor.IsEqual") : nullptr;
    if (o == nullptr || equal == nullptr) return hostParameterError;
    // Keys and types only: enough for a plug-in asking whether two requests match.
    bool same = d->items.size() == o->items.size();
    for (size_t i = 0; same && i < d->items.size(); ++i)
        same = d->items[i].key == o->items[i].key && d->items[i].type == o->items[i].type;
    *equal = same;
    return 0;
}

PIOSErr descriptorErase(PIActionDescriptor descriptor, DescriptorKeyID key)
{
    PIActionDescriptorData* d = target(descriptor, "Descriptor.Erase");
    if (d == nullptr) return hostParameterError;
    for (size_t i = 0; i < d->items.size(); ++i)
        if (d->items[i].key == key)
        {
            d->items.erase(d->items.begin() + long(i));
            return 0;
        }
    return hostParameterError;
}

PIOSErr descriptorClear(PIActionDescriptor descriptor)
{
    PIActionDescriptorData* d = target(descriptor, "Descriptor.Clear");
    if (d == nullptr) return hostParameterError;
    d->items.clear();
    return 0;
}

template <typename Fill>
PIOSErr descriptorPut(PIActionDescriptor descriptor, DescriptorKeyID key, const char* operation,
                    DescriptorTypeID type, Fill fill)
{
    PIActionDescriptorData* d = target(descriptor, operation);
    if (d == nullptr) return hostParameterError;
    HostItem item;
    item.key = key;
    item.type = type;
    if (!fill(item)) return hostParameterError;
    d->put(key, type) = item;
    return 0;
}

PIOSErr descriptorPutInteger(PIActionDescriptor descriptor, DescriptorKeyID key, int32_t value)
{
    return descriptorPut(descriptor, key, "Descriptor.PutInteger", typeInteger,
                         [value](HostItem& item) { return item.integer = value, true; });
}

PIOSErr descriptorPutFloat(PIActionDescriptor descriptor, DescriptorKeyID key, double value)
{
    return descriptorPut(descriptor, key, "Descriptor.PutFloat", typeFloat,
                         [value](HostItem& item) { return item.number = value, true; });
}

PIOSErr descriptorPutUnitFloat(PIActionDescriptor descriptor, DescriptorKeyID key,
                             DescriptorUnitID unit, double value)
{
    return descriptorPut(descriptor, key, "Descriptor.PutUnitFloat", typeUnitFloat,
                         [unit, value](HostItem& item)
                         {
                             item.classID = unit;
                             item.number = value;
                             return true;
                         });
}

PIOSErr descriptorPutString(PIActionDescriptor descriptor, DescriptorKeyID key, char* value)
{
    return descriptorPut(descriptor, key, "Descriptor.PutString", piTypeText,
                         [value](HostItem& item)
                         {
                             if (value == nullptr) return false;
                             item.text = value;
                             return true;
                         });
}

PIOSErr descriptorPutBoolean(PIActionDescriptor descriptor, DescriptorKeyID key, PIBoolean value)
{
    return descriptorPut(descriptor, key, "Descriptor.PutBoolean", typeBoolean,
                         [value](HostItem& item) { return item.integer = value != 0, true; });
}

PIOSErr descriptorPutList(PIActionDescriptor descriptor, DescriptorKeyID, PIActionList)
{
    target(descriptor, "Descriptor.PutList");
    return hostEventNotHandled;
}

PIOSErr descriptorPutObject(PIActionDescriptor descriptor, DescriptorKeyID key,
                          DescriptorClassID type, PIActionDescriptor value)
{
    PIActionDescriptorData* object = target(value, "Descriptor.PutObject");
    if (object == nullptr) return hostParameterError;
    // The value is copied: the plug-in frees its own descriptor afterwards.
    auto copy = std::make_shared<const PIActionDescriptorData>(*object);
    return descriptorPut(descriptor, key, "Descriptor.PutObject", typeObject,
                         [type, copy](HostItem& item)
                         {
                             item.classID = type;
                             item.object = copy;
                             return true;
                         });
}

PIOSErr descriptorPutGlobalObject(PIActionDescriptor descriptor, DescriptorKeyID key,
                                DescriptorClassID type, PIActionDescriptor value)
{
    return descriptorPutObject(descriptor, key, type, value);
}

PIOSErr descriptorPutEnumerated(PIActionDescriptor descriptor, DescriptorKeyID key,
                              DescriptorEnumTypeID type, DescriptorEnumID value)
{
    return descriptorPut(descriptor, key, "Descriptor.PutEnumerated", typeEnumerated,
                         [type, value](HostItem& item)
                         {
                             item.enumType = type;
                             item.enumValue = value;
                             return true;
                         });
}

PIOSErr descriptorPutReference(PIActionDescriptor descriptor, DescriptorKeyID key,
                             PIActionReference value)
{
    HostSession::Impl* s = s_session;
    PIActionReferenceData* r = s ? s->reference(value, "Descriptor.PutReference") : nullptr;
    if (r == nullptr) return hostParameterError;
    auto copy = std::make_shared<const PIActionReferenceData>(*r);
    return descriptorPut(descriptor, key, "Descriptor.PutReference", typeReference,
                         [copy](HostItem& item) { return item.reference = copy, true; });
}

PIOSErr descriptorPutClass(PIActionDescriptor descriptor, DescriptorKeyID key,
                         DescriptorClassID value)
{
    return descriptorPut(descriptor, key, "Descriptor.PutClass", typeClass,
                         [value](HostItem& item) { return item.classID = value, true; });
}

PIOSErr descriptorPutGlobalClass(PIActionDescriptor descriptor, DescriptorKeyID key,
                               DescriptorClassID value)
{
    return descriptorPutClass(descriptor, key, value);
}

PIOSErr descriptorPutAlias(PIActionDescriptor descriptor, DescriptorKeyID key, PIHandle value)
{
    HostSession::Impl* s = s_session;
    if (s == nullptr || value == nullptr || s->handles.count(value) == 0)
    {
        if (s != nullptr)
            s->event(
                "used a handle the editor never made or already disposed of (Descriptor.PutAlias)");
        return hostParameterError;
    }
    const std::vector<char>& bytes = s->handles[value]->bytes;
    std::string path(bytes.data(), strnlen(bytes.data(), bytes.size()));
    return descriptorPut(descriptor, key, "Descriptor.PutAlias", typeAlias,
                         [path](HostItem& item) { return item.text = path, true; });
}

PIOSErr descriptorGetInteger(PIActionDescriptor descriptor, DescriptorKeyID key, int32_t* value)
{
    const HostItem* item = itemOf(descriptor, key, "Descriptor.GetInteger");
    if (item == nullptr || value == nullptr || item->type != typeInteger) return hostParameterError;
    *value = item->integer;
    return 0;
}

PIOSErr descriptorGetFloat(PIActionDescriptor descriptor, DescriptorKeyID key, double* value)
{
    const HostItem* item = itemOf(descriptor, key, "Descriptor.GetFloat");
    if (item == nullptr || value == nullptr || item->type != typeFloat) return hostParameterError;
    *value = item->number;
    return 0;
}

PIOSErr descriptorGetUnitFloat(PIActionDescriptor descriptor, DescriptorKeyID key,
                             DescriptorUnitID* unit, double* value)
{
    const HostItem* item = itemOf(descriptor, key, "Descriptor.GetUnitFloat");
    if (item == nullptr || value == nullptr || item->type != typeUnitFloat)
        return hostParameterError;
    if (unit != nullptr) *unit = item->classID;
    *value = item->number;
    return 0;
}

PIOSErr descriptorGetStringLength(PIActionDescriptor descriptor, DescriptorKeyID key,
                                uint32_t* length)
{
    const HostItem* item = itemOf(descriptor, key, "Descriptor.GetStringLength");
    if (item == nullptr || length == nullptr || item->type != piTypeText) return hostParameterError;
    *length = uint32_t(item->text.size());
    return 0;
}

PIOSErr descriptorGetString(PIActionDescriptor descriptor, DescriptorKeyID key, char* value,
                          uint32_t maxLength)
{
    const HostItem* item = itemOf(descriptor, key, "Descriptor.GetString");
    if (item == nullptr || value == nullptr || maxLength == 0 || item->type != piTypeText)
        return hostParameterError;
    size_t n = item->text.size() < maxLength - 1 ? item->text.size() : maxLength - 1;
    memcpy(value, item->text.data(), n);
    value[n] = 0;
    return 0;
}

const PIActionDescriptorSuite s_descriptorSuite = {descriptorMake,
                                                   descriptorFree,
                                                   descriptorGetType,
                                                   descriptorGetKey,
                                                   descriptorHasKey,
                                                   descriptorGetCount,
                                                   descriptorIsEqual,
                                                   descriptorErase,
                                                   descriptorClear,
                                                   descriptorPutInteger,
                                                   descriptorPutFloat,
                                                   descriptorPutUnitFloat,
                                                   descriptorPutString,
                                                   descriptorPutBoolean,
                                                   descriptorPutList,
                                                   descriptorPutObject,
                                                   descriptorPutGlobalObject,
                                                   descriptorPutEnumerated,
                                                   descriptorPutReference,
                                                   descriptorPutClass,
                                                   descriptorPutGlobalClass,
                                                   descriptorPutAlias,
                                                   descriptorGetInteger,
                                                   descriptorGetFloat,
                                                   descriptorGetUnitFloat,
                                                   descriptorGetStringLength,
                                                   descriptorGetString};

// ---- Handles and aliases ----------------------------------------------------

PIHandle handleNew(int32_t size)
{
    HostSession::Impl* s = s_session;
    if (s == nullptr) return nullptr;
    s->call("Handle.New");
    if (size < 0 || size > s_maxHandleSize) return nullptr;
    std::vector<char> zeros(size_t(size) + 1, 0);
    return s->newHandle(zeros.data(), size_t(size));
}

void handleDispose(PIHandle h)
{
    HostSession::Impl* s = s_session;
    if (s == nullptr) return;
    s->call("Handle.Dispose");
    if (h == nullptr) return;
    if (s->handles.erase(h) == 0)
        s->event("used a handle the editor never made or already disposed of (Handle.Dispose)");
}

SPErr aliasFromCString(const char* path, PIAliasHandle* alias)
{
    HostSession::Impl* s = s_session;
    if (s == nullptr) return kSPBadParameterError;
    s->call("Alias.MacNewAliasFromCString");
    if (path == nullptr || alias == nullptr) return kSPBadParameterError;
    *alias = s->newHandle(path, strlen(path) + 1);
    return kSPNoError;
}

const PIHandleSuite s_handleSuite = {handleNew, handleDispose};
const PIAliasSuite s_aliasSuite = {aliasFromCString};
} // namespace

// ---- The document's events --------------------------------------------------

PIOSErr HostSession::Impl::exportLayer(const PIActionDescriptorData& request, int32_t playOptions)
{
    HostExportRequest asked;
    asked.playOptions = playOptions;
    const HostItem* file = request.find(keyFileReference);
    if (file != nullptr && file->type == typeAlias) asked.path = file->text;
    for (auto choice : {std::make_pair("keyEcmaChoice", &asked.ecmaChoice),
                        std::make_pair("keyFormatChoice", &asked.formatChoice)})
    {
        auto id = stringIDs.find(choice.first);
        const HostItem* item = id == stringIDs.end() ? nullptr : request.find(id->second);
        if (item != nullptr && item->type == typeInteger) *choice.second = item->integer;
    }
    exports.push_back(asked);
    HostExportRequest& made = exports.back();

    const char* mode = playOptions == plugInDialogSilent    ? "silently"
                       : playOptions == plugInDialogDisplay ? "with its dialog"
                                                            : "without dialog";
    std::string what = std::string("played export3DModel ") + mode + " to " + asked.path;
    if (file == nullptr || file->type != typeAlias || asked.path.empty())
    {
        event("played export3DModel without a file to write to");
        return hostParameterError;
    }
    if (!document.hasLayer)
    {
        event(what + ": the document has no layer, nothing written");
        return hostNoSuchObject;
    }
    if (!document.is3D)
    {
        event(what + ": layer \"" + document.layerName + "\" is not a 3D layer, nothing written");
        return hostNoSuchObject;
    }
    HostExport written;
    std::string error;
    auto start = std::chrono::steady_clock::now();
    if (!exportModel(document.model, asked.path, written, error))
    {
        event(what + ": could not write " + error);
        return hostWriteError;
    }
    made.written = true;
    auto name = [](const std::string& path) { return path.substr(path.rfind('/') + 1); };
    char seconds[32];
    snprintf(seconds, sizeof(seconds), "%.2f s",
             std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    event(what + ": wrote " + std::to_string(written.faceCount) + " triangles in " + seconds +
          ", with " + name(written.mtlPath) + " and " + name(written.texturePath));
    return 0;
}

PIOSErr HostSession::Impl::setLayer(const PIActionDescriptorData& request)
{
    const HostItem* to = request.find(keyTo);
    const HostItem* name = to && to->object ? to->object->find(keyName) : nullptr;
    if (name == nullptr || name->type != piTypeText || !document.hasLayer)
    {
        event("played set on something this editor does not know");
        return hostNoSuchObject;
    }
    event("played set: layer \"" + document.layerName + "\" renamed to \"" + name->text + "\"");
    document.layerName = name->text;
    return 0;
}

PIOSErr HostSession::Impl::getLayer(const PIActionReferenceData& reference,
                                  PIActionDescriptor* result)
{
    // A reference is a chain: the first part put names what is asked for, each
    // later part the container of the one before. This editor knows the target
    // layer and one property of it; the same parts in another order name nothing.
    const std::vector<HostReferencePart>& parts = reference.parts;
    auto isTargetLayer = [](const HostReferencePart& part)
    {
        return part.form == formEnumerated && part.desiredClass == classLayer &&
               part.enumType == typeOrdinal && part.enumValue == enumTarget;
    };
    bool known = !parts.empty() && parts.size() <= 2 && isTargetLayer(parts.back());
    if (known && parts.size() == 2)
        known = parts[0].form == formProperty && parts[0].desiredClass == classProperty;
    if (!known)
    {
        event("asked for an object this editor does not know");
        return hostNoSuchObject;
    }
    DescriptorKeyID property = parts.size() == 2 ? parts[0].property : 0;
    std::string what = property == 0
                           ? "asked for the target layer"
                           : "asked for property " + codeText(property) + " of the target layer";
    if (property == keyName) what = "asked for the name of the target layer";
    if (!document.hasLayer)
    {
        event(what + ": the document has no layer");
        return hostNoSuchObject;
    }
    if (property != 0 && property != keyName)
    {
        event(what + ": no such property");
        return hostNoSuchObject;
    }
    PIActionDescriptorData* d = makeDescriptor();
    d->put(keyName, piTypeText).text = document.layerName;
    *result = d;
    event(what + ": \"" + document.layerName + "\"");
    return 0;
}

// ---- Session ----------------------------------------------------------------

HostSession::HostSession(HostDocument document) : m_impl(std::make_unique<Impl>())
{
    m_impl->document = std::move(document);
    m_impl->basic = {acquireSuite, releaseSuite,    isEqual,           allocateBlock,
                     freeBlock,    reallocateBlock, undefinedProcedure};
    s_session = m_impl.get();
}

HostSession::~HostSession()
{
    if (s_session == m_impl.get()) s_session = nullptr;
}

SPBasicSuite* HostSession::basicSuite()
{
    return &m_impl->basic;
}
void HostSession::denySuite(const std::string& name)
{
    m_impl->denied.insert(name);
}
void HostSession::offerEverySuite()
{
    m_impl->offerAll = true;
}
const HostDocument& HostSession::document() const
{
    return m_impl->document;
}
const std::vector<std::string>& HostSession::events() const
{
    return m_impl->events;
}
const std::vector<std::string>& HostSession::calls() const
{
    return m_impl->calls;
}
const std::vector<HostExportRequest>& HostSession::exports() const
{
    return m_impl->exports;
}
const std::map<std::string, int>& HostSession::acquisitions() const
{
    return m_impl->acquisitions;
}
const std::map<std::string, int>& HostSession::heldSuites() const
{
    return m_impl->held;
}

size_t HostSession::liveObjects() const
{
    return m_impl->descriptors.size() + m_impl->references.size() + m_impl->handles.size();
}

// The action descriptor suite of the simulated editor: key-value records that
// carry an event's parameters and an object's properties.

#include "HostSessionImpl.h"

#include <cstring>

namespace
{
PIOSErr descriptorMake(PIActionDescriptor* descriptor)
{
    HostSession::Impl* s = activeHostSession();
    if (s == nullptr) return hostParameterError;
    s->call("Descriptor.Make");
    if (descriptor == nullptr) return hostParameterError;
    *descriptor = s->makeDescriptor();
    return 0;
}

PIOSErr descriptorFree(PIActionDescriptor descriptor)
{
    HostSession::Impl* s = activeHostSession();
    PIActionDescriptorData* d = s ? s->descriptor(descriptor, "Descriptor.Free") : nullptr;
    if (d == nullptr) return hostParameterError;
    s->descriptors.erase(d);
    delete d;
    return 0;
}

PIActionDescriptorData* target(PIActionDescriptor descriptor, const char* operation)
{
    return activeHostSession() ? activeHostSession()->descriptor(descriptor, operation) : nullptr;
}

const HostItem* itemOf(PIActionDescriptor descriptor, DescriptorKeyID key, const char* operation)
{
    PIActionDescriptorData* d = target(descriptor, operation);
    return d ? d->find(key) : nullptr;
}

PIOSErr descriptorGetType(PIActionDescriptor descriptor, DescriptorKeyID key,
                          DescriptorTypeID* type)
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
    HostSession::Impl* s = activeHostSession();
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
    HostSession::Impl* s = activeHostSession();
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
} // namespace

const PIActionDescriptorSuite hostDescriptorSuite = {descriptorMake,
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

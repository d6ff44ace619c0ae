#include "PIUGet.h"

#include "PIUSuites.h"

namespace
{
// What a query made of the host and still has to give back, also when a
// suite acquisition throws half-way.
struct HeldQuery
{
    PIActionReference reference = nullptr;
    PIActionDescriptor result = nullptr;

    void release()
    {
        PIUFreeReference(reference);
        PIUFreeDescriptor(result);
    }
};

SPErr getInfo(DescriptorClassID desiredClass, DescriptorKeyID desiredKey, void* data,
              uint32_t* dataSize, HeldQuery& held)
{
    SPErr error = sPSActionReference->Make(&held.reference);
    if (error == kSPNoError && desiredKey != 0)
        error = sPSActionReference->PutProperty(held.reference, classProperty, desiredKey);
    if (error == kSPNoError)
        error = sPSActionReference->PutEnumerated(held.reference, desiredClass, typeOrdinal,
                                                  enumTarget);
    if (error == kSPNoError) error = sPSActionControl->Get(&held.result, held.reference);
    if (error != kSPNoError) return error;
    if (desiredKey == 0)
    {
        *static_cast<PIActionDescriptor*>(data) = held.result;
        held.result = nullptr;
        return kSPNoError;
    }
    return PIUGetSingleItemFromDescriptor(held.result, desiredKey, data, dataSize);
}
} // namespace

SPErr PIUGetInfo(DescriptorClassID desiredClass, DescriptorKeyID desiredKey, void* data,
                 uint32_t* dataSize)
{
    if (data == nullptr) return kSPBadParameterError;
    HeldQuery held;
    SPErr error;
    try
    {
        error = getInfo(desiredClass, desiredKey, data, dataSize, held);
    }
    catch (...)
    {
        held.release();
        throw;
    }
    held.release();
    return error;
}

SPErr PIUGetSingleItemFromDescriptor(PIActionDescriptor descriptor, DescriptorKeyID key, void* data,
                                     uint32_t* dataSize)
{
    if (descriptor == nullptr || data == nullptr) return kSPBadParameterError;
    DescriptorTypeID type = 0;
    SPErr error = sPSActionDescriptor->GetType(descriptor, key, &type);
    if (error != kSPNoError) return error;
    if (type != piTypeText || dataSize == nullptr) return kSPBadParameterError;

    uint32_t capacity = *dataSize;
    error = sPSActionDescriptor->GetStringLength(descriptor, key, dataSize);
    if (error == kSPNoError && *dataSize > capacity) error = kSPBadParameterError;
    // A capacity check of length against capacity, then a copy of length + 1:
    // callers keep one spare byte beyond the capacity they announce.
    if (error == kSPNoError)
        error = sPSActionDescriptor->GetString(descriptor, key, static_cast<char*>(data),
                                               *dataSize + 1);
    return error;
}

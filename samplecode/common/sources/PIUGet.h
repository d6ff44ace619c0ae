#pragma once

#include "PIHostInterface.h"

// Asks the host for the desiredKey property of the current item of desiredClass.
// With a key, data is a buffer and *dataSize its capacity on entry and the
// value's length on return. With key 0, data receives the whole descriptor,
// which the caller then owns. Returns the first host error.
SPErr PIUGetInfo(DescriptorClassID desiredClass, DescriptorKeyID desiredKey, void* data,
                 uint32_t* dataSize);

// Reads one item of a descriptor by key. Text arrives zero-terminated, and only
// when its length fits the capacity in *dataSize; otherwise the buffer is left
// untouched and the result is 'Parm'.
SPErr PIUGetSingleItemFromDescriptor(PIActionDescriptor descriptor, DescriptorKeyID key, void* data,
                                     uint32_t* dataSize);

#include "PIUActions.h"

#include "PIUFile.h"
#include "PIUSuites.h"

namespace
{
// Host objects made by one playback. They are given back also when a suite
// acquisition throws half-way, in the order of the host's own examples: the
// result, the descriptors, the reference, then the alias.
struct HeldPlayback
{
    PIActionDescriptor result = nullptr;
    PIActionDescriptor descriptor = nullptr;
    PIActionDescriptor object = nullptr;
    PIActionReference reference = nullptr;
    PIHandle alias = nullptr;

    void release()
    {
        PIUFreeDescriptor(result);
        PIUFreeDescriptor(descriptor);
        PIUFreeDescriptor(object);
        PIUFreeReference(reference);
        PIUDisposeHandle(alias);
    }
};

template <typename Steps> SPErr play(Steps steps)
{
    HeldPlayback held;
    SPErr error;
    try
    {
        error = steps(held);
    }
    catch (...)
    {
        held.release();
        throw;
    }
    held.release();
    return error;
}

SPErr typeIDOf(const char* name, DescriptorTypeID& id)
{
    // The host takes the identifier as a writable string.
    char buffer[64];
    int i = 0;
    for (; name[i] != 0 && i < int(sizeof(buffer)) - 1; ++i)
        buffer[i] = name[i];
    buffer[i] = 0;
    return sPSActionControl->StringIDToTypeID(buffer, &id);
}

SPErr playLayerEvent(DescriptorEventID event)
{
    return play(
        [event](HeldPlayback& held)
        {
            SPErr error = sPSActionReference->Make(&held.reference);
            if (error == kSPNoError)
                error = sPSActionReference->PutEnumerated(held.reference, classLayer, typeOrdinal,
                                                          enumTarget);
            if (error == kSPNoError) error = sPSActionDescriptor->Make(&held.descriptor);
            if (error == kSPNoError)
                error =
                    sPSActionDescriptor->PutReference(held.descriptor, keyTarget, held.reference);
            if (error == kSPNoError) error = sPSActionDescriptor->Make(&held.object);
            char newName[] = "renomage";
            if (error == kSPNoError)
                error = sPSActionDescriptor->PutString(held.object, keyName, newName);
            if (error == kSPNoError)
                error =
                    sPSActionDescriptor->PutObject(held.descriptor, keyTo, classLayer, held.object);
            if (error == kSPNoError)
                error = sPSActionControl->Play(&held.result, event, held.descriptor,
                                               plugInDialogSilent);
            return error;
        });
}
} // namespace

SPErr Playexport3DModel(char* path, int format)
{
    return play(
        [path, format](HeldPlayback& held)
        {
            DescriptorTypeID ecmaKey = 0, formatKey = 0, event = 0;
            SPErr error = sPSActionDescriptor->Make(&held.descriptor);
            if (error == kSPNoError) error = FullPathToAlias(path, held.alias);
            if (error == kSPNoError)
                error =
                    sPSActionDescriptor->PutAlias(held.descriptor, keyFileReference, held.alias);
            if (error == kSPNoError) error = typeIDOf("keyEcmaChoice", ecmaKey);
            if (error == kSPNoError)
                error = sPSActionDescriptor->PutInteger(held.descriptor, ecmaKey, 1);
            if (error == kSPNoError) error = typeIDOf("keyFormatChoice", formatKey);
            if (error == kSPNoError)
                error = sPSActionDescriptor->PutInteger(held.descriptor, formatKey, format);
            if (error == kSPNoError) error = typeIDOf("export3DModel", event);
            if (error == kSPNoError)
                error = sPSActionControl->Play(&held.result, event, held.descriptor,
                                               plugInDialogSilent);
            return error;
        });
}

SPErr PlayeventGet()
{
    return playLayerEvent(eventGet);
}

SPErr PlayeventSet()
{
    return playLayerEvent(eventSet);
}

SPErr PlayJavaScript(const QDString&, QDString& result)
{
    result.clear();
    return kSPBadParameterError;
}

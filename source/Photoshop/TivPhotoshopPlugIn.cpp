#include "TivPhotoshopPlugIn.h"

#include "PIUSuites.h"
#include "TivPhotoshopPlugIn_Common.h"

SPErr AutoPluginMain(const char* caller, const char* selector, void* message)
{
    return TivPluginMain(caller, selector, message);
}

SPErr TivPluginMain(const char* caller, const char* selector, void* message)
{
    SPErr result = kSPNoError;
    if (message == nullptr) return kSPBadParameterError;
    sSPBasic = static_cast<SPMessageData*>(message)->basic;
    if (sSPBasic == nullptr || sSPBasic->IsEqual == nullptr) return kSPBadParameterError;
    try
    {
        if (caller == nullptr || !sSPBasic->IsEqual(caller, "PS Photoshop")) return kSPNoError;
        if (selector == nullptr || !sSPBasic->IsEqual(selector, "Do It")) return kSPNoError;
        result = DoIt(static_cast<PSActionsPlugInMessage*>(message));
    }
    catch (...)
    {
        // A suite the host would not give: whatever the host's own code was,
        // the host hears of a bad parameter.
        if (result == kSPNoError) result = kSPBadParameterError;
    }
    return result;
}

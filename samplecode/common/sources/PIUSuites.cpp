#include "PIUSuites.h"

SPBasicSuite* sSPBasic = nullptr;

// Constant-initialised, so every suite exists before any code of the plug-in runs.
AutoSuite<PIActionDescriptorSuite> sPSActionDescriptor(kPSActionDescriptorSuite,
                                                       kPSActionDescriptorSuiteVersion);
AutoSuite<PIActionControlSuite> sPSActionControl(kPSActionControlSuite,
                                                 kPSActionControlSuiteVersion);
AutoSuite<PIActionReferenceSuite> sPSActionReference(kPSActionReferenceSuite,
                                                     kPSActionReferenceSuiteVersion);
AutoSuite<PIActionListSuite> sPSActionList("df135116-c769-11d0-8079-00c04fd7ec47", 2);
AutoSuite<PIRegistrySuite> sPSRegistry("61e608b0-40fd-11d1-8da3-00c04fd5f7ee", 1);
AutoSuite<PIUIHooksSuite> sPSUIHooks("Photoshop UIHooks Suite for Plug-ins", 1);
AutoSuite<PIHandleSuite> sPSHandle(kPSHandleSuite, kPSHandleSuiteVersion);
AutoSuite<PIZStringSuite> sASZString("AS ZString Suite", 1);
AutoSuite<PIAccessSuite> sSPAccess("SP Access Suite", 3);
AutoSuite<PIFileListSuite> sPSFileList("Photoshop GetFileList Suite for Plug-ins", 4);
AutoSuite<PIBufferSuite> sPSBuffer("Photoshop Buffer Suite for Plug-ins", 1);
AutoSuite<PIChannelPortsSuite> sPSChannelProcs("Photoshop ChannelPorts Suite for Plug-ins", 3);
AutoSuite<PIRuntimeSuite> sSPRuntime("SP Runtime Suite", 5);
AutoSuite<PIPropertySuite> sPSProperty("Photoshop Property Suite for Plug-ins", 1);
AutoSuite<PIAliasSuite> sPSAlias(kPSAliasSuite, kPSAliasSuiteVersion);
AutoSuite<PIResourceSuite> sPSResource("Photoshop Resource Suite for Plug-ins", 3);

void PIUSuitesRelease()
{
    sPSActionDescriptor.Unload();
    sPSActionControl.Unload();
    sPSActionReference.Unload();
    sPSActionList.Unload();
    sPSRegistry.Unload();
    sPSHandle.Unload();
    sPSUIHooks.Unload();
    sASZString.Unload();
    sSPAccess.Unload();
    sPSFileList.Unload();
    sPSBuffer.Unload();
    sPSChannelProcs.Unload();
    sSPRuntime.Unload();
    sPSProperty.Unload();
    sPSAlias.Unload();
    sPSResource.Unload();
}

void PIUFreeDescriptor(PIActionDescriptor& descriptor)
{
    if (descriptor == nullptr) return;
    PIActionDescriptor held = descriptor;
    descriptor = nullptr;
    sPSActionDescriptor->Free(held);
}

void PIUFreeReference(PIActionReference& reference)
{
    if (reference == nullptr) return;
    PIActionReference held = reference;
    reference = nullptr;
    sPSActionReference->Free(held);
}

void PIUDisposeHandle(PIHandle& handle)
{
    if (handle == nullptr) return;
    PIHandle held = handle;
    handle = nullptr;
    sPSHandle->Dispose(held);
}

#pragma once

#include "PIHostInterface.h"

// The host's basic suite, refreshed at every entry. Suites are reached through it.
extern SPBasicSuite* sSPBasic;

// One host suite, acquired on first use and kept until unload. An acquisition
// failure throws the host's error code (an unsigned 32-bit value); the entry
// point catches it, since suite calls sit deep inside the run with no error path.
template <typename T> class AutoSuite
{
public:
    constexpr AutoSuite(const char* name, int32_t version)
        : m_suite(nullptr), m_version(version), m_name(name), m_error(kSPNoError)
    {
    }
    ~AutoSuite() { Unload(); }
    AutoSuite(const AutoSuite&) = delete;
    AutoSuite& operator=(const AutoSuite&) = delete;

    const T* operator->()
    {
        if (m_suite == nullptr) AcquireSuite();
        return m_suite;
    }

    void Unload()
    {
        if (m_suite != nullptr && m_name != nullptr && sSPBasic != nullptr)
        {
            sSPBasic->ReleaseSuite(m_name, m_version);
            m_suite = nullptr;
        }
    }

    bool isAcquired() const { return m_suite != nullptr; }
    SPErr getError() const { return m_error; }

private:
    void AcquireSuite()
    {
        if (sSPBasic == nullptr) throw uint32_t(kSPBadParameterError);
        // Acquired into a local so that a host that fails but still writes the
        // pointer leaves this suite unacquired, and tried again next time.
        const void* suite = nullptr;
        m_error = sSPBasic->AcquireSuite(m_name, m_version, &suite);
        if (m_error != kSPNoError) throw uint32_t(m_error);
        if (suite == nullptr)
        {
            // Reported as acquired but unusable: calling through it would crash.
            m_error = kSPBadParameterError;
            throw uint32_t(m_error);
        }
        m_suite = static_cast<const T*>(suite);
    }

    const T* m_suite;
    int32_t m_version;
    const char* m_name;
    SPErr m_error;
};

// Suites the plug-in names but never calls through; never completed here.
struct PIActionListSuite;
struct PIRegistrySuite;
struct PIUIHooksSuite;
struct PIZStringSuite;
struct PIAccessSuite;
struct PIFileListSuite;
struct PIBufferSuite;
struct PIChannelPortsSuite;
struct PIRuntimeSuite;
struct PIPropertySuite;
struct PIResourceSuite;

extern AutoSuite<PIActionDescriptorSuite> sPSActionDescriptor;
extern AutoSuite<PIActionControlSuite> sPSActionControl;
extern AutoSuite<PIActionReferenceSuite> sPSActionReference;
extern AutoSuite<PIActionListSuite> sPSActionList;
extern AutoSuite<PIRegistrySuite> sPSRegistry;
extern AutoSuite<PIUIHooksSuite> sPSUIHooks;
extern AutoSuite<PIHandleSuite> sPSHandle;
extern AutoSuite<PIZStringSuite> sASZString;
extern AutoSuite<PIAccessSuite> sSPAccess;
extern AutoSuite<PIFileListSuite> sPSFileList;
extern AutoSuite<PIBufferSuite> sPSBuffer;
extern AutoSuite<PIChannelPortsSuite> sPSChannelProcs;
extern AutoSuite<PIRuntimeSuite> sSPRuntime;
extern AutoSuite<PIPropertySuite> sPSProperty;
extern AutoSuite<PIAliasSuite> sPSAlias;
extern AutoSuite<PIResourceSuite> sPSResource;

// Releases every acquired suite. Unloading the plug-in does the same through
// the destructors.
void PIUSuitesRelease();

// Give a host object back and forget it. The variable is cleared first, so a
// release that is reached again (after a throw half-way) never frees twice.
void PIUFreeDescriptor(PIActionDescriptor& descriptor);
void PIUFreeReference(PIActionReference& reference);
void PIUDisposeHandle(PIHandle& handle);

// The simulated editor's basic suite (suites handed out and taken back, blocks
// of memory) and the session's bookkeeping: what the plug-in asked, what it
// holds, and the objects behind its pointers.

#include "HostSessionImpl.h"

#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace
{
HostSession::Impl* s_session = nullptr;

// Runtime identifiers of string IDs start here, well clear of four-character codes.
const DescriptorTypeID s_firstRuntimeID = 0x00020000;

struct SuiteOffer
{
    const char* name;
    int32_t version;
    const char* label;
    const void* table;
};

// ---- Basic suite ------------------------------------------------------------

// Handed out for suites offered without procedures; wide enough for any table.
const void* const s_inertSuite[64] = {};

const SuiteOffer s_offers[] = {
    {kPSActionDescriptorSuite, kPSActionDescriptorSuiteVersion, "Action Descriptor",
     &hostDescriptorSuite},
    {kPSActionControlSuite, kPSActionControlSuiteVersion, "Action Control", &hostControlSuite},
    {kPSActionReferenceSuite, kPSActionReferenceSuiteVersion, "Action Reference",
     &hostReferenceSuite},
    {kPSHandleSuite, kPSHandleSuiteVersion, "Handle", &hostHandleSuite},
    {kPSAliasSuite, kPSAliasSuiteVersion, "Alias Utility", &hostAliasSuite},
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
} // namespace

// ---- The session's bookkeeping ----------------------------------------------

std::string hostCodeText(uint32_t code)
{
    char text[8] = {'\'', char(code >> 24), char(code >> 16), char(code >> 8), char(code), '\'', 0};
    for (int i = 1; i < 5; ++i)
        if (text[i] < 32 || text[i] > 126) return "0x" + std::to_string(code);
    return text;
}

HostSession::Impl* activeHostSession()
{
    return s_session;
}

HostSession::Impl::~Impl()
{
    for (PIActionDescriptorData* d : descriptors)
        delete d;
    for (PIActionReferenceData* r : references)
        delete r;
}

PIActionDescriptorData* HostSession::Impl::descriptor(PIActionDescriptor d, const char* operation)
{
    call(operation);
    if (d != nullptr && descriptors.count(d) != 0) return d;
    event("used a descriptor the editor never made or already freed (" + std::string(operation) +
          ")");
    return nullptr;
}

PIActionReferenceData* HostSession::Impl::reference(PIActionReference r, const char* operation)
{
    call(operation);
    if (r != nullptr && references.count(r) != 0) return r;
    event("used a reference the editor never made or already freed (" + std::string(operation) +
          ")");
    return nullptr;
}

PIHandle HostSession::Impl::newHandle(const char* bytes, size_t size)
{
    auto block = std::make_unique<HostHandleBlock>();
    block->bytes.assign(bytes, bytes + size);
    block->data = block->bytes.data();
    PIHandle h = &block->data;
    handles[h] = std::move(block);
    return h;
}

PIActionDescriptorData* HostSession::Impl::makeDescriptor()
{
    // Owned until the session has it listed: a failed insert must not leak it.
    std::unique_ptr<PIActionDescriptorData> made(new PIActionDescriptorData);
    descriptors.insert(made.get());
    return made.release();
}

std::string HostSession::Impl::stringIDOf(DescriptorTypeID id) const
{
    for (const auto& entry : stringIDs)
        if (entry.second == id) return entry.first;
    return hostCodeText(id);
}

DescriptorTypeID HostSession::Impl::idOf(const std::string& stringID)
{
    auto found = stringIDs.find(stringID);
    if (found != stringIDs.end()) return found->second;
    DescriptorTypeID id = s_firstRuntimeID + DescriptorTypeID(stringIDs.size());
    stringIDs[stringID] = id;
    return id;
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
std::string HostSession::offeredSuite(const std::string& name)
{
    auto same = [&name](const std::string& text) {
        return text.size() == name.size() &&
               strncasecmp(text.c_str(), name.c_str(), text.size()) == 0;
    };
    for (const SuiteOffer& offer : s_offers)
        if (same(offer.name) || same(offer.label) || same(std::string(offer.label) + " suite"))
            return offer.name;
    return "";
}

std::string HostSession::offeredSuiteNames()
{
    std::string names;
    for (const SuiteOffer& offer : s_offers)
        names += (names.empty() ? "" : ", ") + std::string(offer.label);
    return names;
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

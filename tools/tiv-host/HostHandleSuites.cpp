// The handle and alias suites of the simulated editor: movable blocks the
// plug-in allocates, and the aliases that name the files it exports to.

#include "HostSessionImpl.h"

#include <cstring>
#include <new>

namespace
{
// Larger handle requests are refused rather than tried.
const int32_t s_maxHandleSize = 64 << 20;

PIHandle handleNew(int32_t size)
{
    HostSession::Impl* s = activeHostSession();
    if (s == nullptr) return nullptr;
    s->call("Handle.New");
    if (size < 0 || size > s_maxHandleSize) return nullptr;
    // A handle that cannot be had is a null one, as the editor's memory manager gives.
    try
    {
        std::vector<char> zeros(size_t(size) + 1, 0);
        return s->newHandle(zeros.data(), size_t(size));
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
}

void handleDispose(PIHandle h)
{
    HostSession::Impl* s = activeHostSession();
    if (s == nullptr) return;
    s->call("Handle.Dispose");
    if (h == nullptr) return;
    if (s->handles.erase(h) == 0)
        s->event("used a handle the editor never made or already disposed of (Handle.Dispose)");
}

SPErr aliasFromCString(const char* path, PIAliasHandle* alias)
{
    HostSession::Impl* s = activeHostSession();
    if (s == nullptr) return kSPBadParameterError;
    s->call("Alias.MacNewAliasFromCString");
    if (path == nullptr || alias == nullptr) return kSPBadParameterError;
    *alias = s->newHandle(path, strlen(path) + 1);
    return kSPNoError;
}
} // namespace

const PIHandleSuite hostHandleSuite = {handleNew, handleDispose};
const PIAliasSuite hostAliasSuite = {aliasFromCString};

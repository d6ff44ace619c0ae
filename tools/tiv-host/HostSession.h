#pragma once

#include "HostModel.h"
#include "PIHostInterface.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

// The open document of the simulated image editor: its current layer, and that
// layer's model when it is a 3D layer.
struct HostDocument
{
    bool hasLayer = true;
    std::string layerName = "Sphere";
    bool is3D = true;
    HostModel model;
};

// One play of the export event as the plug-in asked for it.
struct HostExportRequest
{
    std::string path;
    int32_t ecmaChoice = -1;
    int32_t formatChoice = -1;
    int32_t playOptions = -1;
    bool written = false;
    std::string error; // why nothing was written
};

// Host errors this simulated editor reports (16-bit, the classic system codes).
constexpr PIOSErr hostParameterError = -50;
constexpr PIOSErr hostWriteError = -36;
constexpr PIOSErr hostMemoryFull = -108;
constexpr PIOSErr hostNoSuchObject = -1728;
constexpr PIOSErr hostEventNotHandled = -1708;
// What AcquireSuite says of a suite it does not offer: deliberately not 'Parm',
// so that a caller which passes it on unchanged can be told apart.
constexpr SPErr hostSuiteNotOffered = SPErr(piCode("NoSu"));

// The simulated image editor's side of the plug-in interface: the basic suite,
// the action control, reference and descriptor suites, the handle and alias
// suites, and the document they act on. The suites are plain C tables, so they
// reach the session through one process-wide pointer: only one session may
// live at a time.
class HostSession
{
public:
    explicit HostSession(HostDocument document);
    ~HostSession();
    HostSession(const HostSession&) = delete;
    HostSession& operator=(const HostSession&) = delete;

    SPBasicSuite* basicSuite();

    // The named suite is refused, as if this editor did not offer it.
    void denySuite(const std::string& name);
    // The registry name of a suite this editor offers, named by its short name
    // ("Handle", "Action Reference"), that name and "Suite", or its registry
    // name ("Photoshop Handle Suite for Plug-ins"), in any case; empty when it
    // offers no such suite.
    static std::string offeredSuite(const std::string& name);
    // The short names of the suites offered, for a message.
    static std::string offeredSuiteNames();
    // Any other suite is handed out as an inert table, so that tests can
    // acquire suites that have no procedures here.
    void offerEverySuite();

    const HostDocument& document() const;
    // What the plug-in asked of the editor, in words, in order.
    const std::vector<std::string>& events() const;
    // Every call the plug-in made, as "Suite.Operation".
    const std::vector<std::string>& calls() const;
    const std::vector<HostExportRequest>& exports() const;
    // Acquisitions made, and acquisitions not yet released, per suite name.
    const std::map<std::string, int>& acquisitions() const;
    const std::map<std::string, int>& heldSuites() const;
    // Descriptors, references and handles handed out and not given back.
    size_t liveObjects() const;

    struct Impl;

private:
    std::unique_ptr<Impl> m_impl;
};

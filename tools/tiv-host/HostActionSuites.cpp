// The action reference and action control suites of the simulated editor: the
// plug-in builds references to what it asks for, and plays events (the layer's
// export, a rename) and gets objects (the layer's name) through the control.

#include "HostSessionImpl.h"

#include <chrono>
#include <cstdio>
#include <memory>
#include <new>

namespace
{
// ---- Action reference -------------------------------------------------------

PIOSErr referenceMake(PIActionReference* reference)
{
    HostSession::Impl* s = activeHostSession();
    if (s == nullptr) return hostParameterError;
    s->call("Reference.Make");
    if (reference == nullptr) return hostParameterError;
    // Owned until the session has it listed: a failed insert must not leak it.
    std::unique_ptr<PIActionReferenceData> made(new PIActionReferenceData);
    s->references.insert(made.get());
    *reference = made.release();
    return 0;
}

PIOSErr referenceFree(PIActionReference reference)
{
    HostSession::Impl* s = activeHostSession();
    if (s == nullptr) return hostParameterError;
    PIActionReferenceData* r = s->reference(reference, "Reference.Free");
    if (r == nullptr) return hostParameterError;
    s->references.erase(r);
    delete r;
    return 0;
}

template <typename Fill>
PIOSErr referencePut(PIActionReference reference, const char* operation, DescriptorFormID form,
                     DescriptorClassID desiredClass, Fill fill)
{
    HostSession::Impl* s = activeHostSession();
    if (s == nullptr) return hostParameterError;
    PIActionReferenceData* r = s->reference(reference, operation);
    if (r == nullptr) return hostParameterError;
    HostReferencePart part;
    part.form = form;
    part.desiredClass = desiredClass;
    fill(part);
    r->parts.push_back(part);
    return 0;
}

PIOSErr referenceGetForm(PIActionReference reference, DescriptorFormID* form)
{
    HostSession::Impl* s = activeHostSession();
    PIActionReferenceData* r = s ? s->reference(reference, "Reference.GetForm") : nullptr;
    if (r == nullptr || form == nullptr || r->parts.empty()) return hostParameterError;
    *form = r->parts.front().form;
    return 0;
}

PIOSErr referenceGetDesiredClass(PIActionReference reference, DescriptorClassID* desiredClass)
{
    HostSession::Impl* s = activeHostSession();
    PIActionReferenceData* r = s ? s->reference(reference, "Reference.GetDesiredClass") : nullptr;
    if (r == nullptr || desiredClass == nullptr || r->parts.empty()) return hostParameterError;
    *desiredClass = r->parts.front().desiredClass;
    return 0;
}

PIOSErr referencePutName(PIActionReference reference, DescriptorClassID desiredClass, char* name)
{
    if (name == nullptr) return hostParameterError;
    return referencePut(reference, "Reference.PutName", formName, desiredClass,
                        [name](HostReferencePart& p) { p.name = name; });
}

PIOSErr referencePutIndex(PIActionReference reference, DescriptorClassID desiredClass,
                          uint32_t index)
{
    return referencePut(reference, "Reference.PutIndex", formIndex, desiredClass,
                        [index](HostReferencePart& p) { p.index = index; });
}

PIOSErr referencePutIdentifier(PIActionReference reference, DescriptorClassID desiredClass,
                               uint32_t identifier)
{
    return referencePut(reference, "Reference.PutIdentifier", formIdentifier, desiredClass,
                        [identifier](HostReferencePart& p) { p.index = identifier; });
}

PIOSErr referencePutOffset(PIActionReference reference, DescriptorClassID desiredClass,
                           int32_t offset)
{
    return referencePut(reference, "Reference.PutOffset", formOffset, desiredClass,
                        [offset](HostReferencePart& p) { p.offset = offset; });
}

PIOSErr referencePutEnumerated(PIActionReference reference, DescriptorClassID desiredClass,
                               DescriptorEnumTypeID type, DescriptorEnumID value)
{
    return referencePut(reference, "Reference.PutEnumerated", formEnumerated, desiredClass,
                        [type, value](HostReferencePart& p)
                        {
                            p.enumType = type;
                            p.enumValue = value;
                        });
}

PIOSErr referencePutProperty(PIActionReference reference, DescriptorClassID desiredClass,
                             DescriptorKeyID property)
{
    return referencePut(reference, "Reference.PutProperty", formProperty, desiredClass,
                        [property](HostReferencePart& p) { p.property = property; });
}
} // namespace

const PIActionReferenceSuite hostReferenceSuite = {
    referenceMake,          referenceFree,       referenceGetForm,       referenceGetDesiredClass,
    referencePutName,       referencePutIndex,   referencePutIdentifier, referencePutOffset,
    referencePutEnumerated, referencePutProperty};

namespace
{
// ---- Action control ---------------------------------------------------------

PIOSErr controlPlay(PIActionDescriptor* result, DescriptorEventID event,
                    PIActionDescriptor descriptor, int32_t playOptions)
{
    HostSession::Impl* s = activeHostSession();
    if (s == nullptr) return hostParameterError;
    if (result != nullptr) *result = nullptr;
    PIActionDescriptorData* request = s->descriptor(descriptor, "Control.Play");
    if (request == nullptr) return hostParameterError;
    PIOSErr error;
    if (s->stringIDs.count("export3DModel") != 0 && event == s->stringIDs["export3DModel"])
        error = s->exportLayer(*request, playOptions);
    else if (event == eventSet)
        error = s->setLayer(*request);
    else
    {
        s->event("played " + s->stringIDOf(event) + ", an event this editor does not handle");
        error = hostEventNotHandled;
    }
    if (error == 0 && result != nullptr) *result = s->makeDescriptor();
    return error;
}

PIOSErr controlGet(PIActionDescriptor* result, PIActionReference reference)
{
    HostSession::Impl* s = activeHostSession();
    if (s == nullptr || result == nullptr) return hostParameterError;
    *result = nullptr;
    PIActionReferenceData* r = s->reference(reference, "Control.Get");
    if (r == nullptr) return hostParameterError;
    return s->getLayer(*r, result);
}

PIOSErr controlStringIDToTypeID(char* stringID, DescriptorTypeID* typeID)
{
    HostSession::Impl* s = activeHostSession();
    if (s == nullptr) return hostParameterError;
    s->call("Control.StringIDToTypeID");
    if (stringID == nullptr || typeID == nullptr) return hostParameterError;
    *typeID = s->idOf(stringID);
    return 0;
}
} // namespace

const PIActionControlSuite hostControlSuite = {controlPlay, controlGet, controlStringIDToTypeID};

// ---- The document's events --------------------------------------------------

PIOSErr HostSession::Impl::exportLayer(const PIActionDescriptorData& request, int32_t playOptions)
{
    HostExportRequest asked;
    asked.playOptions = playOptions;
    const HostItem* file = request.find(keyFileReference);
    if (file != nullptr && file->type == typeAlias) asked.path = file->text;
    for (auto choice : {std::make_pair("keyEcmaChoice", &asked.ecmaChoice),
                        std::make_pair("keyFormatChoice", &asked.formatChoice)})
    {
        auto id = stringIDs.find(choice.first);
        const HostItem* item = id == stringIDs.end() ? nullptr : request.find(id->second);
        if (item != nullptr && item->type == typeInteger) *choice.second = item->integer;
    }
    exports.push_back(asked);
    HostExportRequest& made = exports.back();

    const char* mode = playOptions == plugInDialogSilent    ? "silently"
                       : playOptions == plugInDialogDisplay ? "with its dialog"
                                                            : "without dialog";
    std::string what = std::string("played export3DModel ") + mode + " to " + asked.path;
    // What was not written, and why, goes to the request as well as to the events.
    auto refuse = [this, &made, &what](const std::string& why, PIOSErr code)
    {
        made.error = why;
        event(what + ": " + why);
        return code;
    };
    if (file == nullptr || file->type != typeAlias || asked.path.empty())
    {
        made.error = "no file to write to";
        event("played export3DModel without a file to write to");
        return hostParameterError;
    }
    if (!document.hasLayer)
        return refuse("the document has no layer, nothing written", hostNoSuchObject);
    if (!document.is3D)
        return refuse("layer \"" + document.layerName + "\" is not a 3D layer, nothing written",
                      hostNoSuchObject);
    HostExport written;
    std::string error;
    auto start = std::chrono::steady_clock::now();
    // The editor answers a failed allocation with its error code: an exception
    // has no way back through the plug-in's C interface.
    bool ok = false;
    try
    {
        ok = exportModel(document.model, asked.path, written, error);
    }
    catch (const std::bad_alloc&)
    {
        return refuse("could not write " + asked.path + ": not enough memory", hostMemoryFull);
    }
    if (!ok) return refuse("could not write " + error, hostWriteError);
    made.written = true;
    auto name = [](const std::string& path) { return path.substr(path.rfind('/') + 1); };
    char seconds[32];
    snprintf(seconds, sizeof(seconds), "%.2f s",
             std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    event(what + ": wrote " + std::to_string(written.faceCount) + " triangles in " + seconds +
          ", with " + name(written.mtlPath) + " and " + name(written.texturePath));
    if (!written.checkerReason.empty())
        event("the texture written is a checker: " + written.checkerReason);
    return 0;
}

PIOSErr HostSession::Impl::setLayer(const PIActionDescriptorData& request)
{
    const HostItem* to = request.find(keyTo);
    const HostItem* name = to && to->object ? to->object->find(keyName) : nullptr;
    if (name == nullptr || name->type != piTypeText || !document.hasLayer)
    {
        event("played set on something this editor does not know");
        return hostNoSuchObject;
    }
    event("played set: layer \"" + document.layerName + "\" renamed to \"" + name->text + "\"");
    document.layerName = name->text;
    return 0;
}

PIOSErr HostSession::Impl::getLayer(const PIActionReferenceData& reference,
                                    PIActionDescriptor* result)
{
    // A reference is a chain: the first part put names what is asked for, each
    // later part the container of the one before. This editor knows the target
    // layer and one property of it; the same parts in another order name nothing.
    const std::vector<HostReferencePart>& parts = reference.parts;
    auto isTargetLayer = [](const HostReferencePart& part)
    {
        return part.form == formEnumerated && part.desiredClass == classLayer &&
               part.enumType == typeOrdinal && part.enumValue == enumTarget;
    };
    bool known = !parts.empty() && parts.size() <= 2 && isTargetLayer(parts.back());
    if (known && parts.size() == 2)
        known = parts[0].form == formProperty && parts[0].desiredClass == classProperty;
    if (!known)
    {
        event("asked for an object this editor does not know");
        return hostNoSuchObject;
    }
    DescriptorKeyID property = parts.size() == 2 ? parts[0].property : 0;
    std::string what =
        property == 0 ? "asked for the target layer"
                      : "asked for property " + hostCodeText(property) + " of the target layer";
    if (property == keyName) what = "asked for the name of the target layer";
    if (!document.hasLayer)
    {
        event(what + ": the document has no layer");
        return hostNoSuchObject;
    }
    if (property != 0 && property != keyName)
    {
        event(what + ": no such property");
        return hostNoSuchObject;
    }
    PIActionDescriptorData* d = makeDescriptor();
    d->put(keyName, piTypeText).text = document.layerName;
    *result = d;
    event(what + ": \"" + document.layerName + "\"");
    return 0;
}

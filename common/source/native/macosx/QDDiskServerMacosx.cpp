// Processes, launching and Apple events on the Mac (Process Manager, Launch
// Services, Apple Event Manager, Quartz Event Services).
// The system's headers come first: QDDiskServer.h then takes the Process
// Manager's ProcessSerialNumber instead of declaring its own. Carbon is the
// framework that declares AESend.
#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>

#include "QDDiskServer.h"
#include "QDDiskServer_Commands.h"

namespace
{
const LSLaunchFlags s_launchFlags =
    kLSLaunchDontAddToRecents | kLSLaunchAsync | kLSLaunchNewInstance;
const LSLaunchFlags s_openFlags = kLSLaunchDontAddToRecents | kLSLaunchAsync;

bool makeRef(const QDString& path, FSRef& ref)
{
    return FSPathMakeRef((const UInt8*)path.getValidFilePath(), &ref, nullptr) == noErr;
}

bool findProcess(const FSRef& appRef, ProcessSerialNumber& psn)
{
    psn.highLongOfPSN = 0;
    psn.lowLongOfPSN = kNoProcess;
    while (GetNextProcess(&psn) == noErr)
    {
        // A step that yields {0, 0} ends the walk as found; kept as it was.
        if (psn.highLongOfPSN == 0 && psn.lowLongOfPSN == 0) return true;
        FSRef location;
        if (GetProcessBundleLocation(&psn, &location) == noErr &&
            FSCompareFSRefs(&location, &appRef) == noErr)
            return true;
    }
    psn.highLongOfPSN = 0;
    psn.lowLongOfPSN = 0;
    return false;
}

OSStatus launch(const FSRef& appRef, LSLaunchFlags flags, CFArrayRef argv, ProcessSerialNumber* psn)
{
    LSApplicationParameters parameters = {0, flags, &appRef, nullptr, nullptr, argv, nullptr};
    return LSOpenApplication(&parameters, psn);
}

// The running instance, or a fresh one. No wait follows a launch: events sent
// at once may reach an application that is still starting.
bool findOrLaunch(const FSRef& appRef, ProcessSerialNumber& psn)
{
    if (findProcess(appRef, psn)) return true;
    return launch(appRef, s_openFlags, nullptr, &psn) == noErr;
}

// Sends one event whose direct object the caller puts in; every step runs only
// while the ones before it worked, and the first error is the result.
template <typename PutDirectObject>
bool sendEvent(const ProcessSerialNumber& psn, AEEventID eventID, PutDirectObject put)
{
    AEAddressDesc target = {typeNull, nullptr};
    AppleEvent event = {typeNull, nullptr};
    AppleEvent reply = {typeNull, nullptr};
    OSErr err = AECreateDesc(typeProcessSerialNumber, &psn, sizeof(psn), &target);
    if (err == noErr)
        err = AECreateAppleEvent(kCoreEventClass, eventID, &target, kAutoGenerateReturnID,
                                 kAnyTransactionID, &event);
    if (err == noErr) err = put(event);
    if (err == noErr)
        err = AESend(&event, &reply, kAENoReply, kAENormalPriority, kNoTimeOut, nullptr, nullptr);
    AEDisposeDesc(&reply);
    AEDisposeDesc(&event);
    AEDisposeDesc(&target);
    if (err != noErr) return false;
    ProcessSerialNumber front = psn;
    SetFrontProcess(&front);
    return true;
}

OSErr putFileAlias(AppleEvent& event, const FSRef& fileRef)
{
    AEDescList list = {typeNull, nullptr};
    AEDesc fileDesc = {typeNull, nullptr};
    AliasHandle alias = nullptr;
    OSErr err = FSGetCatalogInfo(&fileRef, kFSCatInfoNone, nullptr, nullptr, nullptr, nullptr);
    if (err == noErr) err = AECreateList(nullptr, 0, false, &list);
    if (err == noErr) err = FSNewAlias(nullptr, &fileRef, &alias);
    if (err == noErr)
    {
        HLock((Handle)alias);
        err = AECreateDesc(typeAlias, *alias, GetHandleSize((Handle)alias), &fileDesc);
        HUnlock((Handle)alias);
    }
    if (err == noErr) err = AEPutDesc(&list, 0, &fileDesc);
    if (err == noErr) err = AEPutParamDesc(&event, keyDirectObject, &list);
    AEDisposeDesc(&fileDesc);
    AEDisposeDesc(&list);
    if (alias) DisposeHandle((Handle)alias);
    return err;
}

void postKey(ProcessSerialNumber& psn, CGKeyCode key, CGEventFlags flags)
{
    for (int down = 1; down >= 0; --down)
    {
        CGEventRef event = CGEventCreateKeyboardEvent(nullptr, key, down != 0);
        if (!event) continue;
        CGEventSetFlags(event, flags);
        CGEventPostToPSN(&psn, event);
        CFRelease(event);
    }
}

int readDecimal(const char*& p)
{
    int value = 0;
    for (; *p >= '0' && *p <= '9'; ++p)
        if (value < 100000000) value = value * 10 + (*p - '0');
    return value;
}
} // namespace

bool QDDiskServer::getRunningProcess(const QDString& appPath, ProcessSerialNumber& psn)
{
    psn.highLongOfPSN = 0;
    psn.lowLongOfPSN = 0;
    FSRef appRef;
    if (!makeRef(appPath, appRef)) return false;
    return findProcess(appRef, psn);
}

bool QDDiskServer::launchApplication(const QDString& appPath, const QDString& argument)
{
    if (!QDLaunchCommands::isBundle(appPath))
        return QDLaunchCommands::launchThroughShell(appPath, argument);
    FSRef appRef;
    if (!makeRef(appPath, appRef)) return false;
    CFStringRef text = nullptr;
    CFArrayRef argv = nullptr;
    if (!argument.empty())
    {
        text = CFStringCreateWithCString(nullptr, argument.c_str(), kCFStringEncodingASCII);
        // A text that is not ASCII cannot become the argument: refuse the launch
        // rather than hand the array a null element.
        if (!text) return false;
        argv = CFArrayCreate(nullptr, (const void**)&text, 1, &kCFTypeArrayCallBacks);
    }
    OSStatus status = launch(appRef, s_launchFlags, argv, nullptr);
    if (argv) CFRelease(argv);
    if (text) CFRelease(text);
    return status == noErr;
}

bool QDDiskServer::openFileInApplication(const QDString& appPath, const QDString& filePath)
{
    FSRef appRef, fileRef;
    if (!makeRef(appPath, appRef) || !makeRef(filePath, fileRef)) return false;
    ProcessSerialNumber psn;
    if (!findOrLaunch(appRef, psn)) return false;
    return sendEvent(psn, kAEOpenDocuments,
                     [&](AppleEvent& event) { return putFileAlias(event, fileRef); });
}

bool QDDiskServer::sendAppleEventToApplication(const QDString& appPath, unsigned int eventID,
                                               const QDString& text)
{
    FSRef appRef;
    if (!makeRef(appPath, appRef)) return false;
    ProcessSerialNumber psn;
    if (!findOrLaunch(appRef, psn)) return false;
    return sendEvent(psn, AEEventID(eventID),
                     [&](AppleEvent& event)
                     {
                         return OSErr(AEPutParamPtr(&event, keyDirectObject, typeText,
                                                    text.isNull() ? "" : text.c_str(),
                                                    Size(text.length())));
                     });
}

bool QDDiskServer::sendKeyEventToApplication(const QDString& appPath, int keyCode, int modifiers)
{
    FSRef appRef;
    if (!makeRef(appPath, appRef)) return false;
    ProcessSerialNumber psn;
    if (!findOrLaunch(appRef, psn)) return false;
    // Modifier keys go down in this order, each event carrying the ones pressed so far.
    static const struct
    {
        int bit;
        CGKeyCode key;
        CGEventFlags flag;
    } s_modifiers[] = {{2, 59, 0x40000}, {4, 58, 0x80000}, {1, 56, 0x20000}, {8, 55, 0x100000}};
    CGEventFlags flags = 0;
    for (const auto& modifier : s_modifiers)
    {
        if (!(modifiers & modifier.bit)) continue;
        flags |= modifier.flag;
        postKey(psn, modifier.key, flags);
    }
    postKey(psn, CGKeyCode(keyCode), flags);
    SetFrontProcess(&psn);
    return true;
}

bool QDDiskServer::getApplicationInfo(const QDString& appPath, bool& flag, int& major, int& minor)
{
    flag = false;
    major = 0;
    minor = 0;
    CFStringRef path =
        CFStringCreateWithCString(nullptr, appPath.getValidFilePath(), kCFStringEncodingUTF8);
    if (!path) return false;
    CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, path, kCFURLPOSIXPathStyle, true);
    CFBundleRef bundle = url ? CFBundleCreate(nullptr, url) : nullptr;
    bool opened = bundle != nullptr;
    if (bundle)
    {
        if (CFArrayRef architectures = CFBundleCopyExecutableArchitectures(bundle))
        {
            for (CFIndex i = 0; i < CFArrayGetCount(architectures); ++i)
            {
                SInt32 code = 0;
                CFNumberGetValue((CFNumberRef)CFArrayGetValueAtIndex(architectures, i),
                                 kCFNumberSInt32Type, &code);
                if (code == 0x1000007 || code == 0x1000012) flag = true;
            }
            CFRelease(architectures);
        }
        CFTypeRef version = CFBundleGetValueForInfoDictionaryKey(bundle, kCFBundleVersionKey);
        char text[64];
        if (version && CFGetTypeID(version) == CFStringGetTypeID() &&
            CFStringGetCString((CFStringRef)version, text, sizeof(text), kCFStringEncodingASCII))
        {
            const char* p = text;
            major = readDecimal(p);
            if (*p == '.') minor = readDecimal(++p);
        }
        CFRelease(bundle);
    }
    if (url) CFRelease(url);
    CFRelease(path);
    return opened;
}

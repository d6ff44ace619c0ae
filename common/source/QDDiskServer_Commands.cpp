#include "QDDiskServer_Commands.h"
#include "QDDiskServer.h"

#include <cstdlib>

namespace
{
void runShellCommand(const QDString& command)
{
    // The shell's status is deliberately not looked at: these commands report nothing.
    int status = system(command.isNull() ? "" : command.c_str());
    (void)status;
}
} // namespace

bool QDLaunchCommands::isShellScript(const QDString& appPath)
{
    return appPath.endsWith(".sh", true);
}

bool QDLaunchCommands::isBundle(const QDString& appPath)
{
    return appPath.endsWith(".app", true);
}

QDString QDLaunchCommands::makeShellLaunchCommand(const QDString& appPath, const QDString& argument)
{
    // The shell knows no volume or "file:" prefix.
    QDString path(appPath.getValidFilePath());
    if (isShellScript(path))
    {
        QDString command = QDString("sh ") + path.quoted();
        if (!argument.empty()) command += QDString(" ") + argument.quoted();
        return command;
    }
    QDString command(path);
    if (!argument.empty()) command += QDString(" ") + argument.quoted("'");
    return command;
}

bool QDLaunchCommands::launchThroughShell(const QDString& appPath, const QDString& argument)
{
    runShellCommand(makeShellLaunchCommand(appPath, argument));
    return true;
}

bool QDDiskServer::runAppleScript(const QDString& script)
{
    runShellCommand(QDString("osascript -e \"") + script + "\"");
    return true;
}

bool QDDiskServer::launchApplicationAsAdmin(const QDString& appPath, const QDString& argument)
{
    // Each backslash below is one character of the command: the shell turns \"
    // into the quote that closes the AppleScript string.
    QDString path(appPath.getValidFilePath());
    const char* prefix = "osascript -e \"do shell script \\\"";
    if (QDLaunchCommands::isShellScript(path))
        prefix = "osascript -e \"do shell script \\\"sh ";
    else if (QDLaunchCommands::isBundle(path))
        prefix = "osascript -e \"do shell script \\\"open -a ";
    QDString command = QDString(prefix) + path.quoted("'");
    if (!argument.empty()) command += QDString(" ") + argument.quoted("'");
    command += "\\\" with administrator privileges\"";
    runShellCommand(command);
    return true;
}

QDString QDDiskServer::getApplicationFolder()
{
    return QDString("/Applications");
}

QDString QDDiskServer::getApplicationX86Folder(bool)
{
    return QDString("/Applications");
}

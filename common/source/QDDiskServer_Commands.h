#pragma once

#include "QDString.h"

// The launch rules both platform backends share: how a path's ending selects
// the kind of application, and the launches that go through the shell.
namespace QDLaunchCommands
{
// Endings are compared ignoring case: ".APP" is a bundle, ".Sh" a script.
bool isShellScript(const QDString& appPath);
bool isBundle(const QDString& appPath);

// `sh "path" "argument"` for a script, `path 'argument'` for anything else,
// the path without its volume or "file:" prefix; the argument part only when
// it is not empty. Nothing inside is escaped.
QDString makeShellLaunchCommand(const QDString& appPath, const QDString& argument);
// Runs the command above; the exit status is not looked at.
bool launchThroughShell(const QDString& appPath, const QDString& argument);
} // namespace QDLaunchCommands

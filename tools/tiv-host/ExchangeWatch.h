#pragma once

// What tiv-host watches of a run: the exchange folder before and after, and
// the sculpting application that the exchange folder configures.

#include <filesystem>
#include <map>
#include <string>

struct FileState
{
    uintmax_t size;
    std::filesystem::file_time_type time;
};
// The regular files under a folder, by path relative to it.
typedef std::map<std::string, FileState> Snapshot;

Snapshot snapshot(const std::string& root);
// Prints what was removed, made and written, with the text files of the exchange.
void printChanges(const std::string& root, const Snapshot& before, const Snapshot& after);
// Whether the file was written while the plug-in ran: new, or of another time.
bool writtenDuring(const std::string& path, const std::string& root, const Snapshot& before,
                   const Snapshot& after);

// The application configured in the exchange folder, quotes removed; empty when
// there is none.
std::string configuredApplication(const std::string& root);
// The executable that starting the application runs: a bundle's
// Contents/MacOS/<name without .app>, or the path itself.
std::string applicationExecutable(std::string application);
bool isExecutable(const std::string& path);
// The stand-in reports beside its bundle: ".../Morvel.app" -> ".../Morvel_Summary.txt".
std::string summaryFileOf(std::string application);
// Waits up to `seconds` for the report, prints it and returns whether it came.
bool waitForReport(const std::string& summaryFile, int seconds, std::string& report);

#include "ExchangeWatch.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{
std::string sizeText(uintmax_t bytes)
{
    char text[32];
    if (bytes < 10 * 1024)
        snprintf(text, sizeof(text), "%ju bytes", bytes);
    else if (bytes < 10 * 1024 * 1024)
        snprintf(text, sizeof(text), "%ju KiB", bytes / 1024);
    else
        snprintf(text, sizeof(text), "%ju MiB", bytes / (1024 * 1024));
    return text;
}

std::string readSmallFile(const std::string& path, size_t limit = 4096)
{
    std::ifstream in(path, std::ios::binary);
    std::string text(limit, '\0');
    in.read(&text[0], std::streamsize(limit));
    text.resize(size_t(in.gcount()));
    return text;
}
} // namespace

// ---- The exchange folder before and after ----------------------------------

Snapshot snapshot(const std::string& root)
{
    Snapshot files;
    std::error_code ec;
    fs::recursive_directory_iterator it(root, ec), end;
    for (; !ec && it != end; it.increment(ec))
    {
        std::error_code ignored;
        if (!it->is_regular_file(ignored)) continue;
        std::string relative = fs::relative(it->path(), root, ignored).string();
        files[relative] = {it->file_size(ignored), it->last_write_time(ignored)};
    }
    return files;
}

void printChanges(const std::string& root, const Snapshot& before, const Snapshot& after)
{
    printf("\nExchange folder %s\n", root.c_str());
    bool any = false;
    for (const auto& entry : before)
        if (after.count(entry.first) == 0)
        {
            printf("  removed  %s\n", entry.first.c_str());
            any = true;
        }
    for (const auto& entry : after)
    {
        auto old = before.find(entry.first);
        const char* change = old == before.end()                     ? "new     "
                             : old->second.time != entry.second.time ? "written "
                                                                     : nullptr;
        if (change == nullptr) continue;
        any = true;
        printf("  %s %s (%s)\n", change, entry.first.c_str(), sizeText(entry.second.size).c_str());
        std::string name = fs::path(entry.first).filename().string();
        if (name == "Tiv_ObjectList.txt" || name == "Tiv_Application.txt")
        {
            std::istringstream lines(readSmallFile(root + "/" + entry.first));
            std::string line;
            while (std::getline(lines, line))
                printf("             | %s\n", line.c_str());
        }
    }
    if (!any) printf("  nothing changed\n");
}

// ---- The sculpting application's stand-in ----------------------------------

std::string configuredApplication(const std::string& root)
{
    std::istringstream lines(readSmallFile(root + "/TivMorvel/Tiv_Config.txt"));
    std::string line;
    while (std::getline(lines, line))
    {
        size_t equal = line.find('=');
        std::string key = line.substr(0, equal);
        key.erase(key.find_last_not_of(" \t") + 1);
        key.erase(0, key.find_first_not_of(" \t"));
        for (char& c : key)
            c = char(toupper((unsigned char)c));
        if (equal == std::string::npos || key != "PATH") continue;
        std::string value = line.substr(equal + 1);
        value.erase(0, value.find_first_not_of(" \t"));
        value.erase(value.find_last_not_of(" \t\r") + 1);
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
            value = value.substr(1, value.size() - 2);
        return value;
    }
    return std::string();
}

std::string summaryFileOf(std::string application)
{
    while (!application.empty() && application.back() == '/')
        application.pop_back();
    if (application.size() > 4 && application.compare(application.size() - 4, 4, ".app") == 0)
        application.resize(application.size() - 4);
    return application + "_Summary.txt";
}

std::string applicationExecutable(std::string application)
{
    while (application.size() > 1 && application.back() == '/')
        application.pop_back();
    fs::path path(application);
    if (path.extension() != ".app") return application;
    return application + "/Contents/MacOS/" + path.stem().string();
}

bool isExecutable(const std::string& path)
{
    std::error_code ec;
    return fs::is_regular_file(path, ec) && access(path.c_str(), X_OK) == 0;
}

bool waitForReport(const std::string& summaryFile, int seconds, std::string& report)
{
    using Clock = std::chrono::steady_clock;
    Clock::time_point deadline = Clock::now() + std::chrono::seconds(seconds);
    std::error_code ec;
    while (!fs::exists(summaryFile, ec) && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    printf("\nSculpting application\n");
    if (!fs::exists(summaryFile, ec))
    {
        printf("  no report from it within %d s (%s)\n", seconds, summaryFile.c_str());
        return false;
    }
    report = readSmallFile(summaryFile, 1 << 20);
    std::istringstream lines(report);
    std::string line;
    while (std::getline(lines, line))
        printf("  %s\n", line.c_str());
    return true;
}

bool writtenDuring(const std::string& path, const std::string& root, const Snapshot& before,
                   const Snapshot& after)
{
    std::error_code ec;
    std::string relative = fs::relative(path, root, ec).string();
    if (ec || relative.empty() || relative.compare(0, 2, "..") == 0)
        return fs::exists(path, ec); // outside the folder watched: there is all we can tell
    auto now = after.find(relative);
    auto then = before.find(relative);
    return now != after.end() && (then == before.end() || then->second.time != now->second.time);
}

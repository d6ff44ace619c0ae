#pragma once

#include "QDArray.h"
#include "QDString.h"

#include <cstdio>

// The platform's process identifier: {0, 0} means "no process". On the Mac it
// is the Process Manager's own type, declared here with its members so that no
// unit but the Mac backend needs the system's headers; that backend includes
// them first, and their declaration then stands. Elsewhere the low word
// carries the process id.
#if !defined(__PROCESSES__)
struct ProcessSerialNumber
{
#if defined(__APPLE__) && !defined(__LP64__)
    unsigned long highLongOfPSN; // the Mac's UInt32 in 32-bit code
    unsigned long lowLongOfPSN;
#else
    unsigned int highLongOfPSN;
    unsigned int lowLongOfPSN;
#endif
};
#endif

// Files, folders, processes and launching. Every path handed to the operating
// system goes through QDString::getValidFilePath() unless said otherwise.
class QDDiskServer
{
public:
    typedef FILE* FileHandle;
    static FileHandle const s_invalidFile;

    // Largest text that the whole-file operations read or write.
    static const int s_maxWholeFileSize = 4096;

    // Closes its stream when it goes out of scope, so that a throw between the
    // open and the close leaves no handle behind.
    class ScopedFile
    {
    public:
        explicit ScopedFile(FileHandle file) : m_file(file) {}
        ~ScopedFile() { close(); }
        ScopedFile(const ScopedFile&) = delete;
        ScopedFile& operator=(const ScopedFile&) = delete;
        FileHandle get() const { return m_file; }
        bool isOpen() const { return m_file != s_invalidFile; }
        int close()
        {
            int status = fileClose(m_file);
            m_file = s_invalidFile;
            return status;
        }

    private:
        FileHandle m_file;
    };

    // Streams
    static FileHandle fileOpen(const QDString& path, const QDString& mode);
    static int fileClose(FileHandle file);
    static unsigned long fileRead(FileHandle file, void* buffer, unsigned long n);
    static unsigned long fileWrite(FileHandle file, const void* buffer, unsigned long n);
    static int fileSeek(FileHandle file, int offset, int whence);
    static long fileSize(FileHandle file);
    static bool fileAtEnd(FileHandle file);

    // Whole small text files
    static bool readFileAsString(const QDString& path, QDString& text);
    static bool writeFileFromString(const QDString& path, const QDString& text);
    static bool readFileAsStringLines(const QDString& path, QDArray<QDString>& lines);

    // Tests and folders
    static bool fileExists(const QDString& path);
    static bool folderExists(const QDString& path);
    static bool createFolder(const QDString& path);
    static bool renameFile(const QDString& from, const QDString& to);
    static bool deleteFile(const QDString& path);
    static bool deleteFolder(const QDString& path);
    static bool deleteDirectory(const QDString& path, bool deleteFiles, bool deleteSubFolders);
    static bool copyFile(const QDString& from, const QDString& to);
    static QDString getCurrentPath();
    static bool setCurrentPath(const QDString& path);
    static int setMode(const QDString& path, unsigned short mode);
    static unsigned short getMode(const QDString& path);

    // File names
    static bool extractPathFromFilename(QDString& path);
    static bool extractPathFromFilename(QDString& path, const QDString& fileName);
    static bool removePathFromFilename(QDString& path);
    static bool fileNameHasExtension(const QDString& name, const QDString& ext);
    static bool makeFilenameWithExt(QDString& name, const QDString& ext);
    static bool makeFilenameWithoutExt(QDString& name, const QDString& ext);
    static bool searchFileList(QDArray<QDString>& found, const QDString& folder,
                               const QDString& filter, int maxDepth, int maxFolders);

    // Processes and launching (one backend per platform)
    static bool getRunningProcess(const QDString& appPath, ProcessSerialNumber& psn);
    static bool launchApplication(const QDString& appPath, const QDString& argument);
    static bool launchApplicationAsAdmin(const QDString& appPath, const QDString& argument);
    static bool openFileInApplication(const QDString& appPath, const QDString& filePath);
    static bool openFolder(const QDString& path);
    static bool runAppleScript(const QDString& script);
    static bool sendAppleEventToApplication(const QDString& appPath, unsigned int eventID,
                                            const QDString& text);
    static bool sendKeyEventToApplication(const QDString& appPath, int keyCode, int modifiers);
    static bool getApplicationInfo(const QDString& appPath, bool& flag, int& major, int& minor);
    static QDString getApplicationFolder();
    static QDString getApplicationX86Folder(bool);
};

// Case-insensitive wildcard match ('*' and '?'); empty name or filter never match.
bool fileNameMatchFilter(const char* name, const char* filter);

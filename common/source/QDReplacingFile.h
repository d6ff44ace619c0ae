#pragma once

#include "QDDiskServer.h"
#include "QDString.h"

// A file written under a temporary name in its target's folder and renamed
// over the target only once every byte is written and the file is closed
// without error. Whoever reads the target meanwhile, or after a failure, sees
// its earlier content whole; a full disk or a throw half-way never leaves a
// cut file behind. Destroyed before commit(), it removes the temporary file.
//
// A target that exists and is not a plain file (a device, a FIFO, a link) is
// written in place as fopen would: renaming over it would replace the node or
// the link itself.
class QDReplacingFile
{
public:
    QDReplacingFile() = default;
    ~QDReplacingFile() { discard(); }
    QDReplacingFile(const QDReplacingFile&) = delete;
    QDReplacingFile& operator=(const QDReplacingFile&) = delete;

    // Opens the file that will become `path`; false when it cannot be made.
    bool open(const QDString& path);
    QDDiskServer::FileHandle handle() const { return m_file; }
    bool isOpen() const { return m_file != QDDiskServer::s_invalidFile; }

    // Puts the file in place. False, with the temporary file removed and the
    // target as it was, when any write, the close or the rename failed.
    bool commit();
    // Drops what was written; the target stays as it was.
    void discard();

private:
    QDDiskServer::FileHandle m_file = QDDiskServer::s_invalidFile;
    QDString m_target;
    QDString m_temporary; // null when writing in place
};

#pragma once

#include "QDString.h"

#include <cstdio>

// A file written the way "w" writes it, but whole or not at all wherever that
// can be had without changing what the write means.
//
// Whole: a plain file (or a new one) is written under a temporary name beside
// it and renamed over it only once every byte is written and the file closed
// without error, carrying the target's mode, owner and group. Whoever reads the
// target meanwhile, or after a failure, sees its earlier content whole.
//
// In place, as fopen would write it, wherever a rename would change what the
// write means or could not be made: a target that is not a plain file (a link,
// a device, a FIFO), a file with more than one name, a file whose owner or
// group the writer could not give a new file, a folder where no file can be
// made beside the target. The target's own permissions decide in every case:
// a file the writer may not write is refused and stays as it was.
//
// Stands on the system's own calls: the disk server writes through it.
class QDReplacingFile
{
public:
    QDReplacingFile() = default;
    ~QDReplacingFile() { discard(); }
    QDReplacingFile(const QDReplacingFile&) = delete;
    QDReplacingFile& operator=(const QDReplacingFile&) = delete;

    // Opens the file that will become `path`; false, with errno telling why,
    // when fopen with "w" would have failed too.
    bool open(const QDString& path);
    FILE* handle() const { return m_file; }
    bool isOpen() const { return m_file != nullptr; }
    // True while the target is being written whole (not in place).
    bool isReplacing() const { return !m_temporary.isNull(); }

    // Puts the file in place. False when any write, the close or the rename
    // failed; a replaced target then stays as it was, with no temporary file.
    bool commit();
    // Drops what was written: a replaced target stays as it was, one written
    // in place keeps what reached it.
    void discard();

private:
    bool adoptTemporary(int fd);
    bool openInPlace(int targetFd);

    FILE* m_file = nullptr;
    QDString m_target;
    QDString m_temporary; // null when writing in place
};

#pragma once

#include "QDBinaryFile.h"

// In-memory block header; on disk the fields sit in this order, 4 bytes each.
struct Tiv_Header
{
    unsigned int tag;
    unsigned int size;
    unsigned int count;
    float param;
};

// The Tiv block container: a 32-byte file header starting "Tivb", numbered
// blocks padded to 4 bytes, and a 16-byte zero end block.
class QDTivFile : public QDBinaryFile
{
public:
    // Only the first four characters reach the file: readers check those alone.
    static const char* const s_formatName;
    static const unsigned int s_headerBytes = 32;
    static const unsigned int s_blockHeaderBytes = 16;

    QDTivFile() = default;
    QDTivFile(const QDString& path, const char* mode) : QDBinaryFile(path, mode) {}

    bool writeTivFileHeader();
    bool readTivFileHeader() const;
    // The arguments come in the order tag, param, count, data bytes, while the
    // header stores tag, size, count, param.
    bool writeTivBlock(unsigned int tag, float param, unsigned int count, unsigned int dataBytes,
                       const void* data);
    bool writeEndTivBlock();
    bool readTivBlockHeader(Tiv_Header& header) const;
    // Moves to the end of the block whose header was just read. A size below the
    // header's own 16 bytes is refused rather than taken as a backward step.
    bool skipTivBlock(const Tiv_Header& header) const;
    // Forward only, in steps the stream's int offsets can carry; a skip past the
    // end of the file stops at the end, where the next read fails.
    bool skipBytes(unsigned long long n) const;
};

#include "QDTivFile.h"

#include <climits>
#include <cstdio>
#include <cstring>

const char* const QDTivFile::s_formatName = "Tivb 1.0";

bool QDTivFile::writeTivFileHeader()
{
    unsigned char header[s_headerBytes] = {};
    memcpy(header, s_formatName, 4);
    return writeBytes(header, s_headerBytes);
}

bool QDTivFile::readTivFileHeader() const
{
    unsigned char header[s_headerBytes];
    return readBytes(header, s_headerBytes) && memcmp(header, s_formatName, 4) == 0;
}

bool QDTivFile::writeTivBlock(unsigned int tag, float param, unsigned int count,
                              unsigned int dataBytes, const void* data)
{
    // The size field could not describe a larger block.
    if (dataBytes > UINT_MAX - s_blockHeaderBytes - 3)
    {
        abandon();
        return false;
    }
    unsigned int size = (s_blockHeaderBytes + dataBytes + 3) & ~3u;
    bool headerWritten = writeBytes(&tag, 4);
    headerWritten = writeBytes(&size, 4) && headerWritten;
    headerWritten = writeBytes(&count, 4) && headerWritten;
    headerWritten = writeBytes(&param, 4) && headerWritten;
    if (!headerWritten) return false;
    if (dataBytes > 0 && !writeBytes(data, dataBytes)) return false;
    static const unsigned char zeros[3] = {0, 0, 0};
    unsigned int padding = size - s_blockHeaderBytes - dataBytes;
    return padding == 0 || writeBytes(zeros, padding);
}

bool QDTivFile::writeEndTivBlock()
{
    const unsigned int zero = 0;
    bool ok = writeBytes(&zero, 4);
    ok = writeBytes(&zero, 4) && ok;
    ok = writeBytes(&zero, 4) && ok;
    return writeBytes(&zero, 4) && ok;
}

bool QDTivFile::readTivBlockHeader(Tiv_Header& header) const
{
    bool ok = readBytes(&header.tag, 4);
    ok = readBytes(&header.size, 4) && ok;
    ok = readBytes(&header.count, 4) && ok;
    return readBytes(&header.param, 4) && ok;
}

bool QDTivFile::skipTivBlock(const Tiv_Header& header) const
{
    if (header.size < s_blockHeaderBytes) return false;
    return skipBytes(header.size - s_blockHeaderBytes);
}

bool QDTivFile::skipBytes(unsigned long long n) const
{
    if (!isOpen()) return false;
    long remaining = getRemainingBytes();
    if (remaining >= 0 && n >= (unsigned long long)remaining)
        return QDDiskServer::fileSeek(getFile(), 0, SEEK_END) == 0;
    const unsigned long long step = 1u << 30;
    while (n > 0)
    {
        int offset = int(n < step ? n : step);
        if (QDDiskServer::fileSeek(getFile(), offset, SEEK_CUR) != 0) return false;
        n -= (unsigned long long)offset;
    }
    return true;
}

#include "QDObjImport.h"

#include "QDObjByteReader.h"

#include <cstring>
#include <string>

namespace
{
const unsigned long s_mtlBufferSize = 65536;
// Material names are kept in 256-byte buffers; a longer one matches nothing.
const int s_maxNameLength = 255;

bool restMatches(QDObjByteReader& in, const char* rest, int& c)
{
    for (; *rest; ++rest)
    {
        c = in.next();
        if (c != *rest) return false;
    }
    return true;
}

bool skipRest(QDObjByteReader& in, int c)
{
    if (qdObjIsLineEnd(c)) return true;
    return c >= 0 && in.skipLine() >= 0;
}
} // namespace

void QDObjImport::quickReadTexture(FILE*& file, QDString& textureName, const char* materialName)
{
    static const char* s_newMaterialStr = "newmtl";
    static const char* s_mapStr = "map_Kd";

    QDObjByteReader in(file, s_mtlBufferSize);
    char name[s_maxNameLength + 1] = {0};
    int nameLength = 0;
    bool nameTooLong = false;
    std::string value;
    bool more = true;
    while (more)
    {
        int c = in.next();
        if (c < 0) break;
        if (qdObjIsLineEnd(c)) continue;
        if (c == 'n')
        {
            if (!restMatches(in, s_newMaterialStr + 1, c))
            {
                more = skipRest(in, c);
                continue;
            }
            // The name is the last blank-separated word of the line.
            nameLength = 0;
            nameTooLong = false;
            for (c = in.next(); c >= 0 && !qdObjIsLineEnd(c); c = in.next())
            {
                if (qdObjIsBlank(c))
                {
                    nameLength = 0;
                    nameTooLong = false;
                }
                else if (nameLength < s_maxNameLength)
                    name[nameLength++] = char(c);
                else
                    nameTooLong = true;
            }
            name[nameLength] = 0;
            more = c >= 0;
        }
        else if (c == 'm')
        {
            bool current = materialName && !nameTooLong && strcmp(name, materialName) == 0;
            if (!current || !restMatches(in, s_mapStr + 1, c))
            {
                more = skipRest(in, c);
                continue;
            }
            do
                c = in.next();
            while (qdObjIsBlank(c));
            value.clear();
            for (; c >= 0 && !qdObjIsLineEnd(c); c = in.next())
                value.push_back(char(c));
            textureName.create(value.data(), value.data() + value.size());
            more = c >= 0;
        }
        else
            more = in.skipLine() >= 0;
    }
    int length = textureName.length();
    if (length > 0 && qdObjIsBlank(textureName[length - 1])) textureName.cutFrom(length - 1);
}

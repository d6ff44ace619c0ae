#include "QDDiskServer.h"

namespace
{
// The extension with its dot: "obj" and ".obj" name the same extension.
QDString dottedExtension(const QDString& ext)
{
    return ext.startsWith(".") ? ext : "." + ext;
}

// Both texts are already upper-cased and non-empty. '*' matches any run of
// characters and '?' exactly one. Only the last '*' is ever retried: a later
// star can absorb whatever an earlier one would have, so the walk stays
// quadratic at worst where retrying every star is exponential.
bool fileNameMatchFilterRec(const char* name, const char* filter)
{
    const char* star = nullptr;
    const char* resume = name;
    while (*name)
    {
        if (*filter == '*')
        {
            star = filter++;
            resume = name;
        }
        else if (*filter && (*filter == '?' || *filter == *name))
        {
            ++filter;
            ++name;
        }
        else if (star)
        {
            filter = star + 1;
            name = ++resume;
        }
        else
            return false;
    }
    while (*filter == '*')
        ++filter;
    return *filter == 0;
}
} // namespace

bool fileNameMatchFilter(const char* name, const char* filter)
{
    QDString upperName(name);
    QDString upperFilter(filter);
    upperName.toUpper();
    upperFilter.toUpper();
    if (upperName.empty() || upperFilter.empty()) return false;
    return fileNameMatchFilterRec(upperName.c_str(), upperFilter.c_str());
}

// Only '/' separates here: a backslash belongs to the name.
bool QDDiskServer::extractPathFromFilename(QDString& path)
{
    path.cutFrom(path.findLastCharOf("/") + 1);
    return true;
}

bool QDDiskServer::extractPathFromFilename(QDString& path, const QDString& fileName)
{
    path = fileName;
    return extractPathFromFilename(path);
}

bool QDDiskServer::removePathFromFilename(QDString& path)
{
    path.cutTo(path.findLastCharOf("/\\") + 1);
    return true;
}

bool QDDiskServer::fileNameHasExtension(const QDString& name, const QDString& ext)
{
    return name.endsWith(dottedExtension(ext));
}

bool QDDiskServer::makeFilenameWithExt(QDString& name, const QDString& ext)
{
    QDString dotted = dottedExtension(ext);
    if (name.endsWith(dotted)) return false;
    name += dotted;
    return true;
}

// The test is the reverse of what the name promises, and callers rely on it as
// it is: a name that does NOT end with the extension loses as many characters
// as the dotted extension has. A name shorter than that becomes empty.
bool QDDiskServer::makeFilenameWithoutExt(QDString& name, const QDString& ext)
{
    QDString dotted = dottedExtension(ext);
    if (name.endsWith(dotted)) return false;
    int keep = name.length() - dotted.length();
    name.cutFrom(keep > 0 ? keep : 0);
    return true;
}

// Arbitrary bytes as a configuration file: the look-up, the rewrite and the
// callback reader must survive them, and a rewritten key must read back.
#include "QDGenericConfigFileParser.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace
{
std::string s_folder;

void removeFolder()
{
    unlink((s_folder + "/config.txt").c_str());
    rmdir(s_folder.c_str());
}

const std::string& folder()
{
    if (s_folder.empty())
    {
        const char* tmp = getenv("TMPDIR");
        std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/configfile_fuzz.XXXXXX";
        if (!mkdtemp(&pattern[0])) abort();
        s_folder = pattern;
        atexit(removeFolder);
    }
    return s_folder;
}

size_t s_valueBytes = 0;
void onValue(const char* value, void*)
{
    s_valueBytes += strlen(value);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string path = folder() + "/config.txt";
    FILE* file = fopen(path.c_str(), "wb");
    if (!file) abort();
    if (size && fwrite(data, 1, size, file) != size) abort();
    fclose(file);

    QDGenericConfigFileParser parser;
    parser.addToken("PATH", onValue);
    parser.addToken("", onValue);
    parser.addToken("n", onValue);
    parser.parseFile(path.c_str(), nullptr);

    bool found = false;
    QDGenericConfigFileParser::findTokenInConfigFile(path.c_str(), "path", &found);
    QDGenericConfigFileParser::findTokenInConfigFile(path.c_str(), "", &found);

    if (!QDGenericConfigFileParser::replaceTokenInConfigFile(path.c_str(), "Path", "\"v\"", &found))
        abort();
    QDString value = QDGenericConfigFileParser::findTokenInConfigFile(path.c_str(), "PATH", &found);
    if (!found || value.isNull() || strcmp(value.c_str(), "v") != 0) abort();
    return 0;
}

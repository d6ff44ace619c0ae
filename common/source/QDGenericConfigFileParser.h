#pragma once

#include "QDString.h"

// Receives the value text of a recognised line and the caller's context.
typedef void (*QDConfigTokenCallback)(const char* value, void* context);

// One key of the callback reader.
class QDGenericConfigFileToken
{
public:
    QDGenericConfigFileToken(const QDString& key, QDConfigTokenCallback callback,
                             QDGenericConfigFileToken* next)
        : m_key(key), m_callback(callback), m_next(next)
    {
    }

    // Accepts a line that starts with the key (any case, no word boundary) and
    // hands the callback what follows the ':', '=' and blank separators.
    bool parseLine(const char* line, void* context) const;

    QDString m_key;
    QDConfigTokenCallback m_callback;
    QDGenericConfigFileToken* m_next;
};

// Small text files of "key = value" lines: a look-up and a rewrite of one key,
// and a callback reader over a list of keys.
class QDGenericConfigFileParser
{
public:
    QDGenericConfigFileParser() = default;
    QDGenericConfigFileParser(const QDGenericConfigFileParser& other);
    QDGenericConfigFileParser& operator=(const QDGenericConfigFileParser& other);
    ~QDGenericConfigFileParser();

    // The newest token is tried first.
    void addToken(const char* key, QDConfigTokenCallback callback);
    bool parseFile(const char* path, void* context) const;

    static QDString findTokenInConfigFile(const QDString& path, const QDString& token, bool* found);
    static bool replaceTokenInConfigFile(const QDString& path, const QDString& token,
                                         const QDString& value, bool* found);

    static float paramToFloat(const char* text);
    static int paramToInt(const char* text);
    static bool paramToBool(const char* text);
    // 1 for a yes spelling, 0 for a no spelling, -1 for anything else.
    static int paramToBoolOrDefault(const char* text);
    static QDString paramToString(const char* text);

    static char* findEndOfLine(char* text);
    static const char* findEndOfLine(const char* text);
    static char* findNextLine(char* text);
    static const char* findNextLine(const char* text);
    static bool parseALine(const char* begin, const char* end, QDString& key, QDString& value);

private:
    void copyTokens(const QDGenericConfigFileToken* head);
    void deleteTokens();

    QDGenericConfigFileToken* m_tokens = nullptr;
};

#pragma once

#include "QDString.h"

#include <sys/time.h>

// Process-wide diagnostic log. Its output side is inert in the plug-in: every
// caller still reports through printLine so that a real sink can be put behind
// the same interface, but nothing is written or shown.
class QDLogServer
{
public:
    static bool m_initialized;
    static int m_curMarginOffset;
    static QDString m_curMarginOffsetString;
    static timeval s_startTimeVal;

    static void init(bool);
    static void setLogFile(QDString path);
    static void printLine(QDString format, ...);
    static void clear();
    static void showLogWindow(bool);
    static void enableLogWindow(bool);
    static void setMarginOffset(int n);
    static void incrMarginOffset(int n);
    static void decrMarginOffset(int n);

    // Lets tests watch the lines that would be logged. Null (the default) keeps
    // printLine a no-op.
    typedef void (*LineObserver)(const char* line);
    static void setLineObserver(LineObserver observer);

private:
    static void rebuildMargin();
    static LineObserver s_lineObserver;
};

// Raises the log margin for the life of a block.
class QDLogBloc
{
public:
    QDLogBloc() = default;
    ~QDLogBloc() { end(); }
    QDLogBloc(const QDLogBloc&) = delete;
    QDLogBloc& operator=(const QDLogBloc&) = delete;

    void start(int n);
    void start(const QDString& startText, const QDString& endText, int n);
    void end();

    bool isStarted() const { return m_started; }
    int getOffset() const { return m_offset; }

private:
    bool m_started = false;
    int m_offset = 0;
    QDString m_endText;
};

class QDLogServer2
{
public:
    static void deleteLogFile();
};

#include "QDLogServer.h"

#include <climits>
#include <cstdarg>
#include <cstdio>

bool QDLogServer::m_initialized = false;
int QDLogServer::m_curMarginOffset = 0;
QDString QDLogServer::m_curMarginOffsetString;
timeval QDLogServer::s_startTimeVal = {0, 0};
QDLogServer::LineObserver QDLogServer::s_lineObserver = nullptr;

namespace
{
// The longest line the log formats; a margin wider than that could never show.
const int s_maxLineLength = 4096;
} // namespace

void QDLogServer::init(bool)
{
    m_initialized = true;
    gettimeofday(&s_startTimeVal, nullptr);
}

void QDLogServer::setLogFile(QDString) {}

void QDLogServer::printLine(QDString format, ...)
{
    if (!s_lineObserver) return;
    char line[s_maxLineLength] = "";
    if (!format.isNull())
    {
        va_list args;
        va_start(args, format);
        vsnprintf(line, sizeof(line), format.c_str(), args);
        va_end(args);
    }
    s_lineObserver(line);
}

void QDLogServer::clear() {}

void QDLogServer::showLogWindow(bool) {}

void QDLogServer::enableLogWindow(bool) {}

void QDLogServer::setLineObserver(LineObserver observer)
{
    s_lineObserver = observer;
}

void QDLogServer::setMarginOffset(int n)
{
    m_curMarginOffset = n < 0 ? 0 : n;
    rebuildMargin();
}

namespace
{
// Levels are summed wide and pinned to the int range: a runaway caller must not
// wrap the margin around.
int pinnedLevel(long long level)
{
    return level > INT_MAX ? INT_MAX : level < INT_MIN ? INT_MIN : int(level);
}
} // namespace

void QDLogServer::incrMarginOffset(int n)
{
    m_curMarginOffset = pinnedLevel((long long)m_curMarginOffset + n);
    rebuildMargin();
}

void QDLogServer::decrMarginOffset(int n)
{
    long long level = (long long)m_curMarginOffset - n;
    m_curMarginOffset = level < 0 ? 0 : pinnedLevel(level);
    rebuildMargin();
}

void QDLogServer::rebuildMargin()
{
    // create() leaves the null string for a level of 0 or below. The text
    // stops at a line's width: a runaway level must not cost gigabytes of
    // blanks, since nothing here may fail.
    long long spaces = 2LL * m_curMarginOffset;
    m_curMarginOffsetString.create(spaces > s_maxLineLength ? s_maxLineLength : int(spaces), ' ');
}

void QDLogBloc::start(int n)
{
    if (m_started) return;
    QDLogServer::incrMarginOffset(n);
    m_started = true;
    m_offset = n;
    m_endText.clear();
}

void QDLogBloc::start(const QDString& startText, const QDString& endText, int n)
{
    if (m_started) return;
    if (!startText.empty()) QDLogServer::printLine("%s", startText.c_str());
    // Raised by 2 whatever n is, and taken back by n at end(): callers that
    // want a balanced margin pass 2.
    QDLogServer::incrMarginOffset(2);
    m_started = true;
    m_offset = n;
    m_endText = endText;
}

void QDLogBloc::end()
{
    if (!m_started) return;
    QDLogServer::decrMarginOffset(m_offset);
    if (!m_endText.empty()) QDLogServer::printLine("%s", m_endText.c_str());
    m_started = false;
    m_offset = 0;
    m_endText.clear();
}

void QDLogServer2::deleteLogFile() {}

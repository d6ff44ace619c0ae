#include "QDLogServer.h"
#include "QDTimeService.h"
#include "TestSupport.h"

#include <chrono>
#include <climits>
#include <ctime>
#include <vector>

namespace
{
std::vector<std::string> s_lines;

// The level and its margin text, "<null>" standing for the null string.
std::string state()
{
    const QDString& text = QDLogServer::m_curMarginOffsetString;
    return std::to_string(QDLogServer::m_curMarginOffset) + "[" +
           (text.isNull() ? "<null>" : text.c_str()) + "]";
}

// Every test starts at level 0, watching what printLine would log.
class QDLogServerTest : public testing::Test
{
protected:
    QDLogServerTest()
    {
        s_lines.clear();
        QDLogServer::setMarginOffset(0);
        QDLogServer::setLineObserver([](const char* line) { s_lines.push_back(line); });
    }
    ~QDLogServerTest() override { QDLogServer::setLineObserver(nullptr); }
};
} // namespace

TEST_F(QDLogServerTest, OutputSideNeverTouchesTheFileSystem)
{
    std::string folder = testFolder();
    QDLogServer::setLogFile((folder + "/Tiv_PhotoshopPlugin.txt").c_str());
    QDLogServer::setMarginOffset(2);
    QDLogServer::init(true);
    EXPECT_TRUE(QDLogServer::m_initialized && QDLogServer::s_startTimeVal.tv_sec != 0);
    EXPECT_EQ(state(), "2[    ]"); // init keeps the margin

    QDLogServer::printLine("sent %s with %d faces", "head", 12);
    QDLogServer::printLine(QDString());
    QDLogServer::clear();
    QDLogServer::showLogWindow(true);
    QDLogServer::enableLogWindow(true);
    QDLogServer2::deleteLogFile();
    EXPECT_EQ(s_lines, (std::vector<std::string>{"sent head with 12 faces", ""}));
    QDLogServer::setLineObserver(nullptr);
    QDLogServer::printLine("%s", "unobserved");
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST_F(QDLogServerTest, MarginIsTwoBlanksPerLevelAndOnlyDecrementClamps)
{
    std::string states;
    for (auto change :
         {+[] { QDLogServer::setMarginOffset(3); }, +[] { QDLogServer::decrMarginOffset(5); },
          +[] { QDLogServer::setMarginOffset(-2); }, +[] { QDLogServer::incrMarginOffset(-5); },
          +[] { QDLogServer::incrMarginOffset(6); }, +[] { QDLogServer::decrMarginOffset(-1); }})
    {
        change();
        states += state() + " ";
    }
    EXPECT_EQ(states, "3[      ] 0[<null>] 0[<null>] -5[<null>] 1[  ] 2[    ] ");
    // Runaway callers saturate instead of wrapping round, and the margin text
    // stops at a log line's width.
    QDLogServer::incrMarginOffset(INT_MAX);
    EXPECT_TRUE(QDLogServer::m_curMarginOffset == INT_MAX &&
                QDLogServer::m_curMarginOffsetString.length() == 4096);
    QDLogServer::incrMarginOffset(INT_MIN);
    QDLogServer::incrMarginOffset(INT_MIN);
    EXPECT_EQ(QDLogServer::m_curMarginOffset, INT_MIN);
    QDLogServer::decrMarginOffset(INT_MAX);
    EXPECT_EQ(state(), "0[<null>]");
}

TEST_F(QDLogServerTest, BlocksRaiseByTwoTakeBackTheirOffsetAndEndOnce)
{
    QDLogServer::setMarginOffset(5);
    {
        QDLogBloc bloc;
        bloc.start("open", "close", 4);
        bloc.start("again", "never", 9);
        EXPECT_EQ(QDLogServer::m_curMarginOffset, 7); // raised by 2 whatever n is, once
        bloc.end();
        bloc.end();
        EXPECT_EQ(QDLogServer::m_curMarginOffset, 3); // taken back by n, once
    }
    EXPECT_EQ(s_lines, (std::vector<std::string>{"open", "close"}));
    {
        QDLogBloc bloc, quiet;
        bloc.start(3);
        bloc.start(5);
        quiet.start(QDString(), "", 2);
        EXPECT_EQ(QDLogServer::m_curMarginOffset, 8);
    } // both end themselves
    EXPECT_EQ(QDLogServer::m_curMarginOffset, 3);
    EXPECT_EQ(s_lines.size(), 2u);
}

TEST(QDTimeService, SleepWaitsAndTheClockCountsProcessorMilliseconds)
{
    auto before = std::chrono::steady_clock::now();
    QDTimeService::sleep(30);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(30));

    // Processor time of this process, not wall-clock time: a busy tenth of a second shows.
    while (std::clock() < CLOCKS_PER_SEC / 10)
    {
    }
    const unsigned int ms = QDTimeService::getCurTimeInMS();
    EXPECT_TRUE(ms >= 100 && ms <= (unsigned int)(std::clock() / (CLOCKS_PER_SEC / 1000))) << ms;
}

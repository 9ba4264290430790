// The page as a person uses it, in a headless Chromium.
#include "Browser.h"
#include "scratchFolder.h"

#include <gmock/gmock.h>
#include <httplib.h>

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

const char kTab[] = "\uE004";
const char kSpace[] = " ";

class Page : public ::testing::Test {
protected:
    Page() { setenv("XDG_RUNTIME_DIR", m_folder.path("").c_str(), 1); } // a token of its own

    void openBench(const std::vector<std::string>& what = {"--config", CONFIGURATION}, const std::string& port = "0")
    {
        std::vector<std::string> words = {TAVBENCH, "--speed", "20", "--web", port};
        words.insert(words.end(), what.begin(), what.end());
        m_bench = std::make_unique<Program>(words);
        m_address = m_bench->lineAfter("Open ");
    }
    void showBench(const std::vector<std::string>& what = {"--config", CONFIGURATION})
    {
        openBench(what);
        browser.open(m_address);
    }
    void expectLamp(const std::string& output, const std::string& value)
    {
        EXPECT_TRUE(browser.lampBecomes(output, value)) << output;
    }
    void expectText(const std::string& selector, const std::string& part)
    {
        EXPECT_TRUE(browser.becomes("document.querySelector(`" + selector + "`)?.textContent.includes(`" + part + "`)"))
            << selector << " has " << browser.value("document.querySelector(`" + selector + "`)?.textContent");
    }
    void sendSms(const std::string& text)
    {
        expectText("[data-fact=Storage]", "0 of");
        browser.value("document.querySelector('#telephone-text').value = " + nlohmann::json(text).dump());
        browser.click("#telephone-form button");
    }

    ScratchFolder m_folder;
    std::string m_address;
    std::unique_ptr<Program> m_bench;
    Browser browser;
};

} // namespace

TEST_F(Page, ASwitchIsMovedAndTheLampFollowsWithItsRuleAndItsCause)
{
    showBench();
    expectLamp("LAMP", "set");
    browser.flip("SMOKE");
    expectLamp("HORN", "set");
    expectText("#outputs-list", "SMOKE became set");
    EXPECT_TRUE(browser.becomes("document.querySelector('#rule-1 .dot').classList.contains('active')"));
    expectText("#rule-1 .deciding", "SMOKE");
    expectText("#said", "HORN was driven set by I/O driver");
    EXPECT_TRUE(
        browser.becomes("document.querySelector('#timeline-plot .mark.output[aria-label*=\"SMOKE became set\"]')"));
    browser.flip("SMOKE");
    expectLamp("HORN", "clear");
    EXPECT_FALSE(browser.becomes("document.querySelector('#rule-1 .dot').classList.contains('active')",
                                 std::chrono::seconds(1)));
    EXPECT_THAT(browser.complaints(), IsEmpty());
}

TEST_F(Page, AnSmsIsSentAndAnswered)
{
    showBench();
    expectText("[data-fact=SIM]", "ready");
    expectText("[data-fact=Network]", "TAV NET");
    expectText("#log-lines", "AT+CMGD=10"); // the storage is emptied at the start
    sendSms("PUMP ON");
    expectLamp("PUMP", "set");
    expectText("#outputs-list", "SMS from 0151000001: PUMP ON");
    sendSms("PUMP QUERY");
    expectText(".chat .received", "PUMP STATE:HIGH");
}

TEST_F(Page, FaultsAreMadeAndMended)
{
    showBench();
    const auto fault = [&](const char* name, const char* button, const char* state) {
        browser.click(std::string("[aria-label='") + name + ": " + button + "']");
        expectText(std::string("[data-fault='") + name + "']", state);
    };
    fault("Object server", "Stop", "stopped");
    browser.flip("SMOKE"); // while nobody hears of it
    fault("Object server", "Mend", "1 connected");
    expectLamp("HORN", "set");
    fault("Modem", "Silent", "silent");
    fault("Modem", "Mend", "answers");
    fault("Modem", "Unplug", "unplugged");
    expectText("[data-fact=Port]", "unplugged");
    fault("Modem", "Mend", "answers");
    fault("SIM", "Other PIN", "needs its PIN");
    fault("Daemon", "Restart", "runs");
    expectText("[data-fact='Tries left']", "PIN 2");
    fault("SIM", "Mend", "needs its PIN");
    fault("Daemon", "Restart", "runs");
    expectText("[data-fault=SIM]", "ready");
    EXPECT_TRUE(browser.becomes("document.querySelectorAll('#timeline-plot .mark.fault').length > 5"));
    browser.type("#command-line", "alarm NOWHERE set\n");
    expectText("#complaint", "no input is labelled NOWHERE");
}

TEST_F(Page, TextsOfStrangersStayTexts)
{
    showBench();
    expectText("[data-fact=SIM]", "ready");
    const std::string hostile = "<img src=x onerror=\"document.title='owned'\"><script>document.title='owned'</script>"
                                "\u202Edetrever\u200B\tend";
    sendSms(hostile);
    expectText(".chat", "<script>document.title='owned'</script>");
    expectText(".chat", "<U+202E>detrever<U+200B>\\\\tend");
    browser.type("#command-line", R"(sms 0171 "half of \xc3 and \xff" )"
                                  "\n");
    expectText(".chat", R"(half of \\xc3 and \\xff)");
    browser.value("document.querySelector('#command-line').maxLength = 100000");
    browser.value("document.querySelector('#command-line').value = 'sms 0171 ' + 'W'.repeat(10000)");
    browser.type("#command-line", "\n");
    expectText(".chat", "... (10000 bytes)");
    EXPECT_EQ(0, browser.value("document.querySelectorAll('main img, main script').length"));
    EXPECT_THAT(browser.value("document.title").get<std::string>(), Not(HasSubstr("owned")));
    EXPECT_THAT(browser.complaints(), IsEmpty()); // nothing was tried that the policy had to stop
}

TEST_F(Page, IsUsedWithTheKeyboardAloneOnATelephonesWidth)
{
    showBench();
    browser.setWidth(360, 740);
    expectLamp("LAMP", "set");
    EXPECT_EQ(360, browser.value("document.documentElement.scrollWidth"));
    const auto walkTo = [&](const std::string& selector) {
        for (int i = 0; i < 150; ++i) {
            if (browser.value("document.activeElement?.matches(`" + selector + "`) ?? false") == true)
                return true;
            browser.press(kTab);
        }
        return false;
    };
    ASSERT_TRUE(walkTo(".switch[data-label=SMOKE]"));
    browser.press(kSpace);
    expectLamp("HORN", "set");
    ASSERT_TRUE(walkTo("[aria-label='Object server: Stop']"));
    browser.press(kSpace);
    expectText("[data-fault='Object server']", "stopped");
    ASSERT_TRUE(browser.becomes("document.querySelector('.mark.output[aria-label*=HORN]')"));
    ASSERT_TRUE(walkTo(".mark.output[aria-label*=HORN]"));
    expectText("#timeline-cause", "HORN was driven set by I/O driver — SMOKE became set (rule 2)");
}

TEST_F(Page, AScenarioIsSteppedPausedAndRunAndAFailedLineIsShown)
{
    const std::string file = m_folder.write("small.bench", "config \"" CONFIGURATION "\"\nstart\nalarm SMOKE set\n"
                                                           "expect output HORN set\nalarm NOWHERE set\n"
                                                           "alarm SMOKE clear\nexpect output HORN clear\n");
    showBench({file});
    expectText("#scenario-state", "paused");
    expectText("#scenario-lines .now", "alarm SMOKE set");
    browser.click("#scenario-step");
    expectLamp("HORN", "set");
    expectText("#scenario-lines .now", "expect output HORN set");
    browser.click("#scenario-run");
    expectText("#scenario-failure", "Line 5: no input is labelled NOWHERE");
    browser.click("#scenario-run");
    expectLamp("HORN", "clear");
    expectText("#scenario-state", "failed");
    EXPECT_EQ(1, m_bench->end());
}

TEST_F(Page, AnObjectServersPageShowsItsPortsAndRulesAndTakesNoCommand)
{
    const std::string programs = std::string(TAVBENCH).substr(0, std::string(TAVBENCH).rfind('/'));
    sim::Tavd server;
    startExample(server);
    Program reader({programs + "/tavctl", "--port", std::to_string(server.port()), "web", "--listen", "0", "--config",
                    CONFIGURATION});
    browser.open(reader.lineAfter("Open "));
    expectLamp("HORN", "clear");
    EXPECT_EQ(true, browser.value("document.querySelector('.switch[data-label=SMOKE]').disabled"));
    EXPECT_EQ(true, browser.value("['telephone', 'faults'].every((id) => !document.getElementById(id).offsetParent)"));
    server.setInput("SMOKE", 1);
    EXPECT_TRUE(browser.becomes("document.querySelector('#rule-1 .dot').classList.contains('active')"));
    server.setOutput("HORN", 1, 1);
    expectLamp("HORN", "set");
    expectText("#outputs-list", "last by a client that gave no name");
    server.stop();
    EXPECT_TRUE(browser.becomes("!document.querySelector('#peer').hidden"));
    expectText("#log-lines", "the server closed the connection");
}

TEST_F(Page, GoesOnByItselfAfterARestartAndAfterAFloodOfEvents)
{
    showBench();
    expectLamp("LAMP", "set");
    const size_t at = m_address.rfind(':') + 1;
    const std::string port = m_address.substr(at, m_address.find('/', at) - at);
    m_bench->end();
    expectText("#link", "connecting");
    openBench({"--config", CONFIGURATION}, port);
    expectText("#link", "connected");
    EXPECT_TRUE(browser.becomes("document.querySelector('#link').textContent === 'connected'"));
    browser.type("#command-line", "flood DRAIN 60000\n");
    EXPECT_TRUE(browser.becomes("document.querySelector('#timeline-span').textContent.includes('too fast')"));
    browser.flip("SMOKE");
    expectLamp("HORN", "set");
    EXPECT_LE(browser.value("document.querySelectorAll('*').length"), 4000);
    EXPECT_EQ("clear", browser.value("document.querySelector('#inputs-list li:last-child').dataset.value"));
}

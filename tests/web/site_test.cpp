// The page's server: who is let in, what a viewer is sent, what is bounded.
#include "scratchFolder.h"
#include "simPort.h"
#include "web/Site.h"
#include "web/Text.h"

#include <gmock/gmock.h>
#include <httplib.h>

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

const std::chrono::seconds kSoon(10);

sim::Port port(const std::string& label, bool output, uint32_t value)
{
    sim::Port made = simPort(output, label, 0);
    made.status = made.state = value;
    made.toggled = 4;
    return made;
}

class SiteTest : public ::testing::Test {
protected:
    SiteTest()
    {
        setenv("XDG_RUNTIME_DIR", m_folder.path("").c_str(), 1);
        EXPECT_EQ("", site.listen("127.0.0.1:0"));
        link = site.link();
        const size_t colon = link.rfind(':');
        host = link.substr(7, link.find('/', colon) - 7);
        token = link.substr(link.find('=') + 1);
        client = std::make_unique<httplib::Client>("http://" + host);
        client->set_read_timeout(std::chrono::seconds(60));
        site.serve(hub, [this](const std::string&, const json& command) {
            obeyed.push_back(command.dump());
            return std::string(command.contains("wrong") ? "it is wrong" : "");
        });
    }
    int get(const char* path, const httplib::Headers& headers)
    {
        const auto answer = client->Get(path, headers);
        return answer ? answer->status : -1;
    }
    int post(const httplib::Headers& headers, const std::string& body, const char* type = "application/json")
    {
        const auto answer = client->Post("/command", headers, body, type);
        return answer ? answer->status : -1;
    }

    ScratchFolder m_folder;
    std::string link, host, token;
    std::vector<std::string> obeyed;
    web::Hub hub{json{{"title", "test"}}};
    web::Site site;
    std::unique_ptr<httplib::Client> client;
};

} // namespace

TEST_F(SiteTest, LetsInWhoHasTheTokenAndNobodyElse)
{
    EXPECT_EQ(403, get("/", {}));
    EXPECT_EQ(403, get("/?token=00000000000000000000000000000000", {}));
    EXPECT_EQ(403, get("/main.js", {}));
    EXPECT_EQ(403, get("/events", {{"Cookie", "tavpage1=" + token}}));
    const auto first = client->Get("/?token=" + token);
    ASSERT_TRUE(first);
    EXPECT_EQ(303, first->status);
    const std::string cookie = first->get_header_value("Set-Cookie");
    EXPECT_THAT(cookie, HasSubstr("HttpOnly; SameSite=Strict"));
    const httplib::Headers known = {{"Cookie", "other=1; " + cookie.substr(0, cookie.find(';'))}};
    const auto index = client->Get("/", known);
    ASSERT_TRUE(index);
    EXPECT_EQ(200, index->status);
    EXPECT_THAT(index->get_header_value("Content-Security-Policy"),
                StartsWith("default-src 'none'; script-src 'self';"));
    EXPECT_EQ("nosniff", index->get_header_value("X-Content-Type-Options"));
    EXPECT_EQ(404, get("/../Site.cpp", known));
}

TEST_F(SiteTest, TakesCommandsOfItsOwnPageOnly)
{
    const std::pair<std::string, std::string> bearer("Authorization", "Bearer " + token);
    EXPECT_EQ(403, get("/", {bearer, {"Host", "page.example:80"}})); // a name that somebody points here
    EXPECT_EQ(403, post({bearer, {"Origin", "http://page.example"}}, "{}"));
    EXPECT_EQ(403, post({bearer, {"Origin", "null"}}, "{}"));
    EXPECT_EQ(400, post({bearer}, "{}", "text/plain"));
    EXPECT_EQ(400, post({bearer}, "[1"));
    EXPECT_NE(200, post({bearer}, '"' + std::string(100000, 'x') + '"'));
    EXPECT_TRUE(obeyed.empty());
    EXPECT_EQ(200, post({bearer, {"Origin", "http://" + host}}, R"({"line":"kill"})"));
    EXPECT_EQ(422, post({bearer}, R"({"wrong":1})"));
    EXPECT_EQ(2u, obeyed.size());
}

TEST_F(SiteTest, KeepsItsTokenOverARestart)
{
    web::Site next;
    ASSERT_EQ("", next.listen("0"));
    EXPECT_THAT(next.link(), HasSubstr(token));
    EXPECT_NE("", web::Site().listen(host)); // taken
    EXPECT_NE("", next.listen("somewhere.example:80"));
    EXPECT_NE("", next.listen("99999"));
}

TEST(HubTest, SendsAViewerTheStateThenEachChangeWithItsCauseThenTheStateAgainWhenItIsFarBehind)
{
    ScratchFolder folder;
    web::Hub hub(json{{"title", "test"}});
    hub.setRules(folder.write("pairs.xml", "<io_connections><connection><trigger><detail dev_type='IO' io_label='IN'/>"
                                           "</trigger><action><detail dev_type='IO' io_label='OUT'/></action>"
                                           "</connection></io_connections>"));
    hub.setPorts({port("IN", false, 2), port("OUT", true, 2)});
    uint64_t seen = 0, slow = 0;
    EXPECT_THAT(hub.next(slow, kSoon), StartsWith("event: snapshot\n"));
    EXPECT_THAT(hub.next(seen, kSoon), StartsWith("event: snapshot\n"));
    hub.tell(port("OUT", true, 1)); // told before its cause, as a fast daemon makes it
    hub.tell(port("IN", false, 1));
    std::string news;
    for (int i = 0; i < 20 && news.find("OUT") == std::string::npos; ++i)
        news += hub.next(seen, kSoon);
    EXPECT_THAT(news, HasSubstr(R"("cause":{"rule":0,"text":"IN became set"})"));
    EXPECT_THAT(news, HasSubstr(R"("states":[[0,"aa",[0,-1]]])"));
    for (int i = 0; i < 150; ++i) { // more batches than are kept
        hub.tell(web::Happening::Note, std::to_string(i));
        hub.next(seen, kSoon);
    }
    EXPECT_THAT(hub.next(slow, kSoon), StartsWith("event: snapshot\n"));
}

TEST(HubTest, StaysBoundedAndTrueUnderAFlood)
{
    web::Hub hub(json{{"title", "test"}});
    hub.setPorts({port("IN", false, 2)});
    uint64_t seen = 0;
    size_t most = 0;
    std::string last;
    for (unsigned i = 0; i < 300000; ++i) {
        hub.tell(port("IN", false, 1 + i % 2));
        hub.tell(web::Happening::Log, std::string(5000, 'x'));
        if (i % 50000 == 0)
            most = std::max(most, hub.next(seen, kSoon).size());
    }
    hub.tell(port("IN", false, 3));
    uint64_t fresh = 0;
    for (int i = 0; i < 50 && last.find(R"("label":"IN","output":false,"value":"warn")") == std::string::npos; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        last = hub.next(fresh = 0, kSoon);
    }
    EXPECT_THAT(last.substr(last.find("\"ports\"")), HasSubstr(R"("label":"IN","output":false,"value":"warn")"));
    EXPECT_LT(last.size(), 4000000u);
    EXPECT_LT(most, 50000000u); // a hundred batches of five hundred events at most
}

TEST(ShownTest, MakesAnyTextHarmlessAndShort)
{
    EXPECT_EQ("a<b>\\n\\x00\\x1b\\xff \xC3\xA9", web::shown(std::string("a<b>\n\0\x1b\xff \xC3\xA9", 11)));
    EXPECT_EQ("<U+202E><U+200F><U+061C><U+FEFF>\xE2\x82\xAC", web::shown("\u202E\u200F\u061C\uFEFF\u20AC"));
    EXPECT_EQ("aaa... (5 bytes)", web::shown("aaaaa", 3));
    EXPECT_EQ("aa... (8 bytes)", web::shown("aa\u20AC\u20AC", 4));
}

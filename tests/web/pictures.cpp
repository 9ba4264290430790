// Makes the screenshots of the page, from programs of a folder, a configuration and a scenario.
#include "Browser.h"

#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace {

void save(const std::string& path, const std::string& bytes)
{
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    printf("%s, %zu bytes\n", path.c_str(), bytes.size());
}

void expect(Browser& browser, const std::string& expression)
{
    if (!browser.becomes(expression))
        throw std::runtime_error("it did not become so: " + expression);
}

void expectLamp(Browser& browser, const std::string& output, const std::string& value)
{
    if (!browser.lampBecomes(output, value))
        throw std::runtime_error(output + " did not become " + value);
}

// Some minutes of a house, in seconds.
void live(Browser& browser)
{
    expect(browser, "document.querySelector('[data-fact=SIM]').textContent === 'ready'");
    expect(browser, "document.querySelector('[data-fact=Network]').textContent === 'TAV NET'");
    browser.flip("ROOM2_WARM");
    expectLamp(browser, "FAN", "set");
    browser.flip("DOOR_OPEN");
    expectLamp(browser, "FAN", "clear");
    browser.flip("SMOKE");
    expectLamp(browser, "HORN", "set");
    browser.flip("DOOR_OPEN");
    expectLamp(browser, "FAN", "set");
    for (const char* text : {"PUMP ON", "PUMP QUERY"}) {
        expect(browser, "document.querySelector('[data-fact=Storage]').textContent.startsWith('0 of')");
        browser.type("#telephone-text", text);
        browser.click("#telephone-form button");
        expectLamp(browser, "PUMP", "set");
    }
    expect(browser, "document.querySelector('.chat .received')");
    browser.click("[aria-label='Object server: Hang']");
    browser.flip("WINDOW");
    browser.click("[aria-label='Object server: Mend']");
    expect(browser, "document.querySelector('[data-fault=\"Object server\"]').textContent.includes('connected')");
    browser.click("#timeline-in");
}

void takePictures(Browser& browser, const std::string& folder)
{
    expect(browser, "document.querySelectorAll('.mark').length > 4");
    browser.value("scrollTo(0, 0)");
    save(folder + "/page.png", browser.picture());
    for (const char* part : {"inputs", "outputs", "rules", "telephone", "modem", "faults", "timeline", "log"})
        save(folder + "/page-" + part + ".png", browser.picture(std::string("#") + part));
    browser.setWidth(1280, 1000, true);
    browser.value("scrollTo(0, 0)");
    save(folder + "/page-dark.png", browser.picture());
    browser.setWidth(360, 740);
    browser.value("scrollTo(0, 0)");
    save(folder + "/page-narrow.png", browser.picture());
}

void stepScenario(Browser& browser, const std::string& programs, const std::string& file, const std::string& folder)
{
    Program bench({programs + "/tavbench", "--web", "0", "--speed", "10", file});
    browser.open(bench.lineAfter("Open "));
    for (int i = 0; i < 8; ++i) {
        expect(browser, "document.querySelector('#scenario-state').textContent === 'paused'");
        browser.click("#scenario-step");
    }
    expect(browser, "document.querySelector('#scenario-state').textContent === 'paused'");
    save(folder + "/page-scenario.png", browser.picture("#scenario"));
}

// The page of tavctl.
void readOnly(Browser& browser, const std::string& programs, const std::string& config, const std::string& folder)
{
    sim::Tavd server;
    startExample(server);
    Program reader(
        {programs + "/tavctl", "--port", std::to_string(server.port()), "web", "--listen", "0", "--config", config});
    browser.open(reader.lineAfter("Open "));
    expectLamp(browser, "HORN", "clear");
    server.setInput("SMOKE", 1);
    server.setOutput("HORN", 1, 1);
    server.setInput("DOOR_OPEN", 1);
    expect(browser, "document.querySelector('#timeline-plot .mark.output[aria-label*=HORN]')");
    save(folder + "/page-reading.png", browser.picture());
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 5) {
        fprintf(stderr, "usage: page-pictures PROGRAMS CONFIGURATION SCENARIO FOLDER\n");
        return 2;
    }
    const std::string programs = argv[1], folder = argv[4];
    try {
        Browser browser;
        browser.setWidth(1280, 1000);
        {
            Program bench({programs + "/tavbench", "--web", "0", "--speed", "10", "--config", argv[2]});
            browser.open(bench.lineAfter("Open "));
            live(browser);
            takePictures(browser, folder);
        }
        browser.setWidth(1280, 1000);
        stepScenario(browser, programs, argv[3], folder);
        readOnly(browser, programs, argv[2], folder);
    } catch (const std::exception& problem) {
        fprintf(stderr, "pictures: %s\n", problem.what());
        return 1;
    }
    return 0;
}

// tavbench: the whole card on a desk, for scenarios and for people.
#include "bench/Card.h"
#include "bench/Player.h"
#include "bench/Prompt.h"
#include "bench/Sandbox.h"
#include "bench/Tools.h"
#include "bench/TracePrinter.h"
#include "record/Command.h"
#include "record/Replay.h"
#include "web/Desk.h"
#include "web/Site.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr unsigned kReading = 1; // seconds that a person needs for a note

struct Wishes {
    std::string config, daemon, record;
    bench::Pace pace;
    bool trace = false, log = false, narrate = false, stay = false;
};

// Opens the record and the site, if they are wanted, and then enters the sandbox. Its /etc/tav and its loopback are not
// the machine's. @return false after a message
bool enter(record::Recorder& recorder, const Wishes& wishes, web::Site* site = nullptr, const std::string& where = "")
{
    std::string wrong = wishes.record.empty() ? "" : recorder.open(wishes.record);
    if (wrong.empty() && site != nullptr)
        wrong = site->listen(where);
    if (wrong.empty())
        wrong = bench::enterSandbox();
    if (!wrong.empty())
        fprintf(stderr, "tavbench: %s\n", wrong.c_str());
    return wrong.empty();
}

bool readLines(const std::string& file, std::vector<std::string>& lines)
{
    std::ifstream scenario(file);
    if (!scenario)
        fprintf(stderr, "tavbench: %s cannot be read\n", file.c_str());
    for (std::string line; std::getline(scenario, line);)
        lines.push_back(line);
    return scenario.eof();
}

// Obeys the lines, and then those of the prompt, if one is wanted. @p number is the current line.
void perform(const std::vector<std::string>& lines, const Wishes& wishes, bench::Card& card, bench::Player& player,
             size_t& number)
{
    for (number = 1; number <= lines.size(); ++number) {
        bench::Player::checkVerb(lines[number - 1]);
        if (bench::Player::makesFaults(lines[number - 1]))
            card.useFaults();
    }
    for (number = 1; number <= lines.size(); ++number) {
        const std::string& line = lines[number - 1];
        if (wishes.narrate && !line.empty() && line[0] != '#' && line.rfind("expect", 0) != 0 &&
            line.rfind("note", 0) != 0)
            printf("  %s\n", line.c_str());
        player.obey(line);
    }
    number = lines.size();
    player.checkEnd();
    if (wishes.stay) {
        const bench::TracePrinter trace(card, wishes.trace, wishes.log);
        card.time().setRate(1);
        bench::prompt(player, card.time());
    }
    card.checkSanitizers();
}

// Prints the error, and the daemon's last lines.
void tellFailure(const std::string& where, const std::string& line, const char* what, const bench::Daemon& daemon)
{
    fprintf(stderr, "%s: %s\n", where.c_str(), what);
    if (!line.empty())
        fprintf(stderr, "    %s\n", line.c_str());
    std::vector<std::string> log = daemon.lines(true, 0);
    const std::vector<std::string> errors = daemon.lines(false, 0);
    log.insert(log.end(), errors.begin(), errors.end());
    const size_t shown = std::min<size_t>(log.size(), 40);
    fprintf(stderr, "%s", daemon.sanitizerReport().c_str());
    fprintf(stderr, "The last %zu lines that the daemon printed:\n", shown);
    for (size_t i = log.size() - shown; i < log.size(); ++i)
        fprintf(stderr, "    %s\n", log[i].c_str());
}

// Plays one file on a card of its own. @return exit status
int play(const std::string& file, const Wishes& wishes)
{
    std::vector<std::string> lines;
    if (!readLines(file, lines))
        return 2;

    const std::string folder = bench::absolute(bench::folderOf(file));
    record::Recorder recorder(record::daemonsTime);
    if (!enter(recorder, wishes))
        return 2;
    bench::Card card(bench::findTools(wishes.daemon), wishes.pace);
    if (wishes.record.empty()) { // a replay compares times, and a card's server answers soon
        sim::Tavd::Manners late = card.server().manners();
        late.answerDelay = std::chrono::milliseconds(4900); // the daemon waits for 5 s
        card.server().setManners(late);
    }
    record::recordCard(recorder, card);
    std::optional<bench::TracePrinter> trace;
    if (wishes.trace || wishes.log)
        trace.emplace(card, wishes.trace, wishes.log);
    size_t number = 0;
    try {
        if (!wishes.config.empty())
            card.useConfig(wishes.config);
        bench::Player player(card, folder);
        const bool read = wishes.narrate && isatty(STDOUT_FILENO) != 0;
        player.onNote([read](const std::string& text) {
            printf("\n%s\n", text.c_str());
            if (read)
                sleep(kReading);
        });
        if (wishes.narrate)
            player.onMet([](const std::string& text) { printf("    %s\n", text.c_str()); });
        perform(lines, wishes, card, player, number);
    } catch (const bench::Failure& failure) {
        const bool inLine = number > 0 && number <= lines.size();
        tellFailure(file + ':' + std::to_string(number), inLine ? lines[number - 1] : "", failure.what(),
                    card.daemon());
        return 1;
    }
    printf("%s: passed\n", file.c_str());
    return recorder.failed() ? 2 : 0;
}

int converse(const Wishes& wishes)
{
    const std::string folder = bench::absolute(".");
    record::Recorder recorder(record::daemonsTime);
    if (!enter(recorder, wishes))
        return 2;
    bench::Card card(bench::findTools(wishes.daemon), wishes.pace);
    record::recordCard(recorder, card);
    const bench::TracePrinter trace(card, wishes.trace, wishes.log);
    card.useFaults();
    try {
        if (!wishes.config.empty())
            card.useConfig(wishes.config);
        bench::Player player(card, folder);
        bench::prompt(player, card.time());
    } catch (const bench::Failure& failure) {
        fprintf(stderr, "tavbench: %s\n", failure.what());
        return 1;
    }
    return 0;
}

// Finds the address among the arguments of --web; the others are files. @return it, or empty
std::string takeWhere(const std::vector<std::string>& words, std::vector<std::string>& files)
{
    std::string where;
    for (const std::string& word : words) {
        if (access(word.c_str(), R_OK) == 0 || !where.empty() || word.find(".bench") != std::string::npos)
            files.push_back(word);
        else
            where = word;
    }
    return where;
}

// A second signal ends the program at once, even within a line.
void endAtSignals()
{
    struct sigaction once {};
    once.sa_handler = [](int) { web::Desk::stop(); };
    once.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &once, nullptr);
    sigaction(SIGTERM, &once, nullptr);
}

// Shows the card in a browser, with or without a scenario. @return exit status
int showPage(const std::string& where, const std::string& file, const Wishes& wishes)
{
    std::vector<std::string> lines;
    if (!file.empty() && !readLines(file, lines))
        return 2;
    if (file.empty() && wishes.config.empty()) {
        fprintf(stderr, "tavbench: a page needs a scenario or --config\n");
        return 2;
    }
    if (file.empty())
        lines.emplace_back("start");
    const std::string folder = bench::absolute(file.empty() ? "." : bench::folderOf(file));
    auto listening = std::make_unique<web::Site>();
    record::Recorder recorder(record::daemonsTime);
    if (!enter(recorder, wishes, listening.get(), where))
        return 2;
    bench::Card card(bench::findTools(wishes.daemon), wishes.pace);
    record::recordCard(recorder, card);
    web::Hub hub({{"title", file.empty() ? "Card on the bench" : file}, {"readOnly", false}});
    web::Desk desk(card, hub);
    const std::unique_ptr<web::Site> site = std::move(listening); // destroyed before the desk and the hub
    endAtSignals();
    try {
        if (!wishes.config.empty())
            card.useConfig(wishes.config);
        card.useFaults();
        bench::Player player(card, folder);
        for (const std::string& line : lines)
            bench::Player::checkVerb(line);
        site->serve(hub, [&](const std::string& path, const nlohmann::json& wish) { return desk.command(path, wish); });
        printf("Open %s\n", site->link().c_str());
        return desk.run(player, file, lines) ? 0 : 1;
    } catch (const bench::Failure& failure) {
        fprintf(stderr, "tavbench: %s\n", failure.what());
        return 1;
    }
}

int playAll(const std::vector<std::string>& files, const Wishes& wishes)
{
    int worst = 0; // a process for each, because a process has one sandbox
    for (const std::string& file : files) {
        const pid_t player = fork();
        if (player == 0) {
            const int status = play(file, wishes);
            fflush(nullptr);
            _exit(status);
        }
        int status = 0;
        waitpid(player, &status, 0);
        worst = std::max(worst, WIFEXITED(status) ? WEXITSTATUS(status) : 2);
    }
    return worst;
}

} // namespace

int main(int argc, char* argv[])
{
    CLI::App app("The whole card on a desk: object server, modem, GPIO driver, and the real daemon among them");
    Wishes wishes;
    std::vector<std::string> files;
    app.add_option("FILE", files, "scenarios to play; without one, a prompt for their commands");
    app.add_option("--config", wishes.config, "folder that stands in for /etc/tav")->check(CLI::ExistingDirectory);
    app.add_option("--daemon", wishes.daemon, "the daemon to run, instead of the one beside this program")
        ->check(CLI::ExistingFile);
    std::string speed;
    app.add_option("--speed", speed,
                   "how many of the daemon's seconds pass in a real one; 0 skips what only waits, as scenarios do; "
                   "real leaves the clock to the machine");
    app.add_flag("--trace", wishes.trace, "print ports, SMS and AT traffic as they happen");
    app.add_flag("--narrate", wishes.narrate, "print what is done, what followed, and after how long");
    app.add_flag("--stay", wishes.stay, "give a prompt after the scenario");
    app.add_flag("--log", wishes.log, "print the daemon's log as it happens");
    app.add_option("--record", wishes.record, "a new file for what happens, which replay takes");
    record::Order order;
    const CLI::App* replaying = record::addReplay(app, order);
    std::vector<std::string> web;
    CLI::Option* page = app.add_option("--web", web, "show the card in a browser: PORT or ADDRESS:PORT to listen on")
                            ->expected(0, 2)
                            ->type_name("[PORT] [FILE]");
    CLI11_PARSE(app, argc, argv);
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    signal(SIGPIPE, SIG_IGN);
    if (!wishes.config.empty())
        wishes.config = bench::absolute(wishes.config);

    const std::string where = takeWhere(web, files);
    try {
        const bool people = page->count() > 0 || (files.empty() && !replaying->parsed());
        wishes.pace = bench::parsePace(!speed.empty() ? speed : people ? "1" : "0");
    } catch (const bench::Failure& failure) {
        fprintf(stderr, "tavbench: %s\n", failure.what());
        return 2;
    }
    if (replaying->parsed())
        return record::replay(order, wishes.config, bench::findTools(wishes.daemon), wishes.pace);
    if (files.size() > 1 && (page->count() > 0 || !wishes.record.empty())) {
        fprintf(stderr, "tavbench: %s takes one scenario\n", page->count() > 0 ? "--web" : "--record");
        return 2;
    }
    if (page->count() > 0)
        return showPage(where, files.empty() ? "" : files.front(), wishes);
    if (files.empty())
        return converse(wishes);
    if (files.size() == 1)
        return play(files.front(), wishes);
    return playAll(files, wishes);
}

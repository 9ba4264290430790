#include "record/Command.h"

#include "bench/Sandbox.h"
#include "properties.h"
#include "record/Replay.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>

namespace record {

namespace {

std::unique_ptr<bench::Card> cardOf(const std::string& config, const bench::Tools& tools, bench::Pace pace)
{
    const std::string wrong = bench::enterSandbox();
    if (!wrong.empty())
        throw bench::Failure(wrong);
    auto card = std::make_unique<bench::Card>(tools, pace);
    card->useConfig(config);
    cProperties properties;
    properties.load((std::string(bench::kConfigFolder) + "/telnodriver.conf").c_str());
    card->modemOptions().pin = properties.getString("simPin", card->modemOptions().pin.c_str());
    return card;
}

Replay::Settings settingsOf(const Order& order, bench::Pace pace)
{
    Replay::Settings settings;
    constexpr double kMachine = 2000; // real ms that a busy machine may need for an event
    settings.tolerance = std::max(settings.tolerance, static_cast<int64_t>(kMachine * pace.rate));
    for (const std::string& lines : order.compare)
        (lines == "log" ? settings.log : settings.at) = true;
    if (!order.tolerance.empty())
        settings.tolerance = bench::parseTime(order.tolerance).count();
    return settings;
}

} // namespace

CLI::App* addReplay(CLI::App& app, Order& order)
{
    CLI::App* command = app.add_subcommand("replay", "play the inputs and SMS of a record and compare what follows");
    command->fallthrough();
    command->add_option("FILE", order.file, "a record")->required();
    command->add_option("--compare", order.compare, "lines to compare, too")->check(CLI::IsMember({"log", "at"}));
    command->add_option("--tolerance", order.tolerance,
                        "how much sooner or later an output that no SMS drives may move, such as 5s");
    command->add_flag("--check", order.check, "only read the record and say what it holds");
    return command;
}

int replay(const Order& order, const std::string& config, const bench::Tools& tools, bench::Pace pace)
{
    Contents contents;
    const std::string wrong = survey(order.file, contents);
    if (!wrong.empty()) {
        fprintf(stderr, "tavbench: %s\n", wrong.c_str());
        return 2;
    }
    printf("%s: %s\n", order.file.c_str(), contents.text().c_str());
    if (!contents.ended)
        fprintf(stderr, "tavbench: %s: it has no last line: recording was broken off\n", order.file.c_str());
    if (order.check)
        return 0;
    try {
        if (config.empty())
            throw bench::Failure("a replay needs --config");
        const Replay::Settings settings = settingsOf(order, pace);
        Replay player(cardOf(config, tools, pace), settings);
        if (const auto difference = player.run(order.file, contents)) {
            fprintf(stderr, "%s:%llu: %s\n", order.file.c_str(), static_cast<unsigned long long>(difference->line),
                    escaped(difference->text).c_str());
            return 1;
        }
        printf("%s: replayed without a difference, %llu changes compared\n", order.file.c_str(),
               static_cast<unsigned long long>(player.compared()));
        return 0;
    } catch (const bench::Failure& failure) {
        fprintf(stderr, "tavbench: %s\n", failure.what());
        return 2;
    }
}

} // namespace record

#include "bench/Prompt.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <readline/history.h>
#include <readline/readline.h>
#include <unistd.h>

namespace bench {

namespace {

char* nextVerb(const char* begun, int state)
{
    static size_t at;
    if (state == 0)
        at = 0;
    while (at < Player::verbs().size()) {
        const Verb& verb = Player::verbs()[at++];
        if (strncmp(verb.name, begun, strlen(begun)) == 0)
            return strdup(verb.name);
    }
    return nullptr;
}

char** complete(const char* begun, int start, int /*end*/)
{
    rl_attempted_completion_over = 1; // no file names: later words are labels and texts
    return start == 0 ? rl_completion_matches(begun, nextVerb) : nullptr;
}

Time* passing = nullptr;

// Called by the library while it waits for a key.
int keepPace()
{
    passing->keepPace();
    return 0;
}

void help()
{
    for (const Verb& verb : Player::verbs())
        printf("  %s\n", verb.form);
    printf("  help | quit\n");
}

} // namespace

void prompt(Player& player, Time& time)
{
    passing = &time;
    rl_event_hook = keepPace;
    rl_attempted_completion_function = complete;
    printf("The card's commands; help lists them, quit ends.\n");
    while (char* typed = readline(isatty(0) != 0 ? "tavbench> " : "")) {
        const std::string line(typed);
        free(typed);
        if (!line.empty())
            add_history(line.c_str());
        if (line == "quit")
            return;
        try {
            if (line == "help")
                help();
            else
                player.obey(line);
        } catch (const Failure& failure) {
            printf("  %s\n", failure.what());
        }
    }
}

} // namespace bench

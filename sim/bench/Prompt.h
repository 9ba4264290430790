#ifndef SIM_BENCH_PROMPT_H
#define SIM_BENCH_PROMPT_H

#include "bench/Player.h"

namespace bench {

/// Reads commands from the terminal, with history and completion, until end of file or `quit`.
void prompt(Player& player, Time& time);

} // namespace bench

#endif

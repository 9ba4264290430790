/* The server goes away at any moment and comes back, while the input changes. */
#define CHANGES 1
#define FAILURES 1
#define COMMANDS 0
#include "roads.inc"

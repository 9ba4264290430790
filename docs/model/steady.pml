/* The server stays; two changes of the input and one SMS command cross each other. */
#define CHANGES 2
#define FAILURES 0
#define COMMANDS 1
#include "roads.inc"

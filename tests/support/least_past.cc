// Every result goes past the caches, so that small ones show what is done to large ones.
#include "memory/frame/row_moves.h"

const std::size_t orvi::leastPast = 1;

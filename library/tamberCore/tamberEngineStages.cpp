// Stages of a loop turn that the consumption part of the engine carries
// out. Until those are in place each gives the result that lets a
// turn go on quietly: nothing to report.
#include "tamberNodeResponder.h"

void CMTamberNodeResponder::reportV2Consume(int, int) {}

void CMTamberNodeResponder::reportV4Consume(int, int) {}

void CMTamberNodeResponder::on_consumeUpdateTimeout(void*, int) {}

// Stages of a loop turn that the consumption and clip parts of the engine
// carry out. Until those are in place each gives the result that lets a
// turn go on quietly: nothing to report.
#include "tamberNodeResponder.h"

void CMTamberNodeResponder::reportV2Consume(int, int) {}

void CMTamberNodeResponder::reportV4Consume(int, int) {}

void CMTamberNodeResponder::on_consumeUpdateTimeout(void*, int) {}

// Clip channels need the clip sequencer; without it a clip channel stays
// tuned as it is.
int CMTamberNodeResponder::tuneDravChannel(int)
{
    return respondOk;
}

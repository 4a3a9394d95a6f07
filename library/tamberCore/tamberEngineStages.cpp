// Stages of a loop turn that the clip part of the engine carries out.
// Until it is in place each gives the result that lets a turn go on
// quietly.
#include "tamberNodeResponder.h"

// Clip channels need the clip sequencer; without it a clip channel stays
// tuned as it is.
int CMTamberNodeResponder::tuneDravChannel(int)
{
    return respondOk;
}

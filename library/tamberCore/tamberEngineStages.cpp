// Stages of a loop turn that the chunk list, chunk download, metadata,
// consumption and clip parts of the engine carry out. Until those are in
// place each gives the result that lets a turn end quietly: nothing listed,
// nothing to download, nothing to report.
#include "tamberNodeResponder.h"

int CMTamberNodeResponder::updateChunkList()
{
    return respondNothing;
}

int CMTamberNodeResponder::requestChunkDownload(int)
{
    return respondOk;
}

int CMTamberNodeResponder::downloadFirstChunk()
{
    return 0;
}

int CMTamberNodeResponder::requestContentKeys()
{
    return 1;
}

void CMTamberNodeResponder::handleMetadata(tamberChunk&) {}

void CMTamberNodeResponder::updateMetadata() {}

void CMTamberNodeResponder::reportV2Consume(int, int) {}

void CMTamberNodeResponder::reportV4Consume(int, int) {}

void CMTamberNodeResponder::on_consumeUpdateTimeout(void*, int) {}

// Clip channels need the clip sequencer; without it a clip channel stays
// tuned as it is.
int CMTamberNodeResponder::tuneDravChannel(int)
{
    return respondOk;
}

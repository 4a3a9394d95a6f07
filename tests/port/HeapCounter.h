#ifndef HEAP_COUNTER_H
#define HEAP_COUNTER_H

// Counts the C++ heap allocations (operator new) of the test process, so that
// a test can show a path allocates nothing at all, not even outside the port.
namespace testport {
long heapAllocations();
// Blocks allocated with operator new and not yet released.
long heapLiveBlocks();
// Bytes of those blocks as the allocator sized them, and the most there were
// since the last resetHeapPeak(): what a path costs at its worst.
long heapLiveBytes();
long heapPeakBytes();
void resetHeapPeak();
}

#endif

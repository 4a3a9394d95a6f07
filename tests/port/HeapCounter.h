#ifndef HEAP_COUNTER_H
#define HEAP_COUNTER_H

// Counts the C++ heap allocations (operator new) of the test process, so that
// a test can show a path allocates nothing at all, not even outside the port.
namespace testport {
long heapAllocations();
// Blocks allocated with operator new and not yet released.
long heapLiveBlocks();
// Bytes of the heap in use, and the most in use since resetHeapPeak.
long heapLiveBytes();
long heapPeakBytes();
void resetHeapPeak();
}

#endif

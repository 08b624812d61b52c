#pragma once
// How the program's heap treats freed memory: kept in the process for the next allocation,
// never handed back to the system while the program runs.
//
// The program's work is a row of phases (the model, the datum analysis, every adjustment step,
// the statistics) that each take hundreds of megabytes and free them before the next one takes
// as much again. A page handed back to the system and taken anew must be cleared again by the
// kernel, and on a host that reclaims a guest's free memory it must first be brought back: the
// first step of a large network then spent as long in page faults as in its own arithmetic.
// Kept in the heap, the next phase finds the pages ready.
//
// What the library allocates and frees is untouched: it still takes and gives back its blocks
// where it does; only where the heap finds them changes. No result depends on it.

namespace zradjust {

// Call once, before the first allocation worth keeping (first thing in main). The resident size
// stays at the largest the run has needed until the program ends. A heap that declines a
// setting runs as before.
void KeepFreedMemoryInProcess();

}  // namespace zradjust

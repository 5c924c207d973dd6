#pragma once

// Marks the upper halves of the x86 vector registers as unused (vzeroupper) on processors with AVX; does
// nothing elsewhere. Some of Qt's code (its by-name meta-type registration, run at start-up) leaves them
// in use, and threads inherit that state. While it lasts, every SSE instruction of the force engine next to
// libm's AVX code pays a transition penalty: one jitter draw costs about 90 ns instead of 12. Clearing the
// state costs a cycle, so the engine does it at every evaluation rather than trust what ran before it.
void clearUpperVectorState();

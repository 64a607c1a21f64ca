#pragma once

// How late the kernel may wake the calling thread's timers (and poll timeouts), so it can
// batch the wake-up with others. The kernel's default is 50 µs.
bool setThreadTimerSlack(unsigned long nanoseconds);

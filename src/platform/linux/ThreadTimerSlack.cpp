#include "ThreadTimerSlack.h"

#include <sys/prctl.h>

bool setThreadTimerSlack(unsigned long nanoseconds) {
    return ::prctl(PR_SET_TIMERSLACK, nanoseconds, 0, 0, 0) == 0;
}

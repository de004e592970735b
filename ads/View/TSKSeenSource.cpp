#include "View/TSKSeenSource.h"

void TSKSeenSource::setSeen(bool seen)
{
    if (seen == seen_)
        return;
    seen_ = seen;
    emit seenChanged(seen);
}

// The walk over the triggers, which may change under it.
#include "KivTrigger.h"

#include <algorithm>

Triggerable::~Triggerable() = default;

void Triggerable::AddTrigger(Trigger& t) { m_triggers.push_back(&t); }

void Triggerable::DeleteTrigger(Trigger& t) {
    std::ranges::replace(m_triggers, &t, nullptr);
    if (m_walks == 0) std::erase(m_triggers, nullptr);
}

void Triggerable::NotifyTriggers(void* argument) {
    ++m_walks;
    // by index, up to the end as it is at each step: the triggers may move when one is added
    for (std::size_t i = 0; i < m_triggers.size(); ++i) { // NOLINT(modernize-loop-convert)
        if (Trigger* const trigger = m_triggers[i]) trigger->OnNotify(this, argument);
    }
    // nothing is written when nothing was deleted: other threads may walk
    if (--m_walks == 0) std::erase(m_triggers, nullptr);
}

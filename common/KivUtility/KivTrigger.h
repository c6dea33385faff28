// An object that notifies others: what is observed, and its observers.
#ifndef KIVUTILITY_KIVTRIGGER_H
#define KIVUTILITY_KIVTRIGGER_H

#include "KivExport.h"

#include <atomic>
#include <vector>

class Triggerable;

// An observer. The order of the virtual operations is part of the interface.
class KIV_API Trigger {
public:
    Trigger()                          = default;
    Trigger(const Trigger&)            = default;
    Trigger& operator=(const Trigger&) = default;

    // `source` is what notifies, `argument` what its NotifyTriggers was given.
    virtual void OnNotify(Triggerable* source, void* argument) = 0;

    virtual ~Trigger() = default;
};

// What is observed. It keeps pointers and owns nothing: a trigger is deleted from here before it is
// destroyed.
//
// There is no lock. Several threads may notify at once as long as nobody adds or deletes a trigger meanwhile.
// Where one thread alone notifies, a trigger that is being notified may add and delete any, itself as well,
// and then destroy what it deleted; it must not destroy what notifies it, nor throw.
class KIV_API Triggerable {
public:
    Triggerable() = default;
    virtual ~Triggerable();

    Triggerable(const Triggerable&)            = delete;
    Triggerable& operator=(const Triggerable&) = delete;

    // Appends a trigger; added twice, it is notified twice. Throws std::bad_alloc.
    void AddTrigger(Trigger& t);

    // Takes a trigger out, however often it was added. One that is not there is ignored.
    void DeleteTrigger(Trigger& t);

    // Notifies the triggers in the order in which they were added; one that is added meanwhile still gets its
    // turn, one that is deleted does not.
    void NotifyTriggers(void* argument);

    void NotifyTriggers() { NotifyTriggers(nullptr); }

private:
    std::vector<Trigger*> m_triggers;  // null: deleted during a walk
    std::atomic<int>      m_walks = 0; // notifications under way
};

#endif

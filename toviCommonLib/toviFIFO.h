// FIFO: an unbounded list, first in first out, one node of the allocator's memory per element. It locks nothing itself.
#pragma once

#include "toviCommonLib/toviMemory.h"

namespace tovi
{

// The policy of a list that its owner locks.
struct ThreadSafePolicy_none
{
};

template <class T, class TThreadSafePolicy>
class TemplateFIFO
{
  public:
    explicit TemplateFIFO(Allocator &nodeAllocator) : allocator(&nodeAllocator) {}
    virtual ~TemplateFIFO()
    {
        T dropped;
        while (pop(&dropped))
        {
        }
    }
    TemplateFIFO(const TemplateFIFO &) = delete;
    TemplateFIFO &operator=(const TemplateFIFO &) = delete;

    void push(const T &element)
    {
        AllocatorPtr<sRecord> node = allocatorNew<sRecord>(*allocator);
        node->data = element;
        sRecord *newest = node.get();
        (last != nullptr ? last->next : first) = std::move(node);
        last = newest;
    }

    // False when the list is empty; `*out` is then unchanged.
    bool pop(T *out)
    {
        if (!first)
            return false;
        *out = first->data;
        AllocatorPtr<sRecord> rest = std::move(first->next);
        first = std::move(rest);
        if (!first)
            last = nullptr;
        return true;
    }

  private:
    struct sRecord
    {
        AllocatorPtr<sRecord> next;
        T data;
    };

    Allocator *allocator;
    AllocatorPtr<sRecord> first;
    sRecord *last = nullptr;
    [[no_unique_address]] TThreadSafePolicy tsPolicy;
};

template <class T>
class FIFO : public TemplateFIFO<T, ThreadSafePolicy_none>
{
  public:
    using TemplateFIFO<T, ThreadSafePolicy_none>::TemplateFIFO;
};

} // namespace tovi

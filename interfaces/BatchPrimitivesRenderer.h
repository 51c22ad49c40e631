#pragma once

#include "FixedSizeVector.h"
#include "iGraphicPrimitivesRenderer.h"

// Gathers single records on the stack of a drawing loop and hands them to the
// renderer twenty at a time. A full batch goes on the next render, not on the
// twentieth; the destructor sends what is left.
template <class T, unsigned N = 20>
class BatchPrimitivesRenderer : public FixedSizeVector<T, N>
{
public:
    explicit BatchPrimitivesRenderer(iGraphicPrimitivesRenderer* target) : target(target) {}
    ~BatchPrimitivesRenderer() { flush(); }

    BatchPrimitivesRenderer(const BatchPrimitivesRenderer&) = delete;
    BatchPrimitivesRenderer& operator=(const BatchPrimitivesRenderer&) = delete;

    void render(const T& record)
    {
        if (this->full())
            flush();
        this->push_back(record);
    }

private:
    void flush()
    {
        if (this->size() == 0)
            return;
        target->renderMulti(this->begin(), this->size());
        this->clear();
    }

    iGraphicPrimitivesRenderer* target;
};

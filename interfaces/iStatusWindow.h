#pragma once

#include "Ptr.h"
#include "XY.h"
#include "iGraphicPrimitivesRenderer.h"
#include "iObject.h"

// A small borderless window above the others that shows what the application
// is busy with. Its contents draw themselves whenever it needs painting.
class KV_API iStatusWindow : public virtual iObject
{
public:
    class iContents : public virtual iObject
    {
    public:
        // The whole window, in backing pixels from its top left.
        virtual void paint(iGraphicPrimitivesRenderer& renderer, const XY<int>& size) = 0;
    };

    // Paints the contents again soon.
    virtual void update() = 0;
    virtual void setVisible(bool visible) = 0;
};

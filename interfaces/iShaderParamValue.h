#pragma once

#include "Ptr.h"
#include "iObject.h"

class iOpenGLShaderEffect;

// Implemented by the application: a value for one parameter of an effect,
// which applies itself to the effect before a draw.
class KV_API iShaderParamValue : public virtual iObject
{
public:
    virtual void apply(Kv::Ptr<iOpenGLShaderEffect> effect) = 0;
};

#pragma once

#include "iObject.h"

// The marker of a shader effect, as the drawing records hold it.
class KV_API iShaderEffectBase : public virtual iObject
{
};

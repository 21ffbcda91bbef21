#pragma once

// libdispatch has vnode sources only on a Mac; RealDispatch.cpp implements them.

#include_next <dispatch/dispatch.h>

#undef DISPATCH_SOURCE_TYPE_VNODE
#define DISPATCH_SOURCE_TYPE_VNODE (&keloVnodeSourceType)
extern "C" const dispatch_source_type_s keloVnodeSourceType;

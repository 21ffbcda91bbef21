#pragma once

// libdispatch has no vnode sources where there is no Mac; RealDispatch.cpp makes some.

#include_next <dispatch/dispatch.h>

#undef DISPATCH_SOURCE_TYPE_VNODE
#define DISPATCH_SOURCE_TYPE_VNODE (&keloVnodeSourceType)
extern "C" const dispatch_source_type_s keloVnodeSourceType;

#pragma once

#include <stddef.h>

// Declares the functions of the GNU runtime that the doubles and tests call. The runtime's own headers cannot be
// included, because their BOOL differs from the platform's.

extern "C" {

typedef struct objc_method* Method;
typedef void (*IMP)(void); // cast to the method's own type
typedef unsigned char RuntimeBoolean;
struct objc_method_description {
    SEL name;
    char* types;
};

id class_createInstance(Class cls, size_t extraBytes);
id object_dispose(id object);
Class object_getClass(id object); // defined by us: the runtime has it only in its headers
Class object_setClass(id object, Class cls);
Class class_getSuperclass(Class cls);
const char* class_getName(Class cls);
Method* class_copyMethodList(Class cls, unsigned int* count);
Method class_getInstanceMethod(Class cls, SEL selector);
SEL method_getName(Method method);
IMP method_getImplementation(Method method);
const char* method_getTypeEncoding(Method method);
SEL sel_registerName(const char* name);
const char* sel_getName(SEL selector);
IMP objc_msg_lookup(id receiver, SEL selector);
Protocol* objc_getProtocol(const char* name);
struct objc_method_description protocol_getMethodDescription(Protocol* protocol, SEL selector,
                                                             RuntimeBoolean isRequired, RuntimeBoolean isInstance);
struct objc_method_description* protocol_copyMethodDescriptionList(Protocol* protocol, RuntimeBoolean isRequired,
                                                                   RuntimeBoolean isInstance, unsigned int* count);
}

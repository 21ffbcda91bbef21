#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// The compiler counts references by itself only for runtimes that are newer than the one here. What it emits for one of
// those differs in four places, which are brought into the older form before the older runtime reads them: the
// versions of modules and protocols, and the sizes and offsets of classes, which are left to be completed when the size
// of the base class is known.

namespace {

struct Protocol;

struct ProtocolList {
    ProtocolList* next;
    std::size_t count;
    Protocol* protocols[1];
};

struct Protocol {
    std::size_t version; // in place of the class, until it is registered
    const char* name;
    ProtocolList* inherited;
};

struct InstanceVariable {
    const char* name;
    const char* type;
    int offset;
};

struct InstanceVariableList {
    int count;
    InstanceVariable variables[1];
};

struct Class {
    Class* metaclass;
    const char* baseClass;
    const char* name;
    long version;
    unsigned long info;
    long instanceSize; // negative: without the base class
    InstanceVariableList* variables;
    void* methods;
    void* dispatchTable;
    void* subclasses;
    void* siblings;
    ProtocolList* protocols;
    void* collectionType;
    long abiVersion;
    int** offsets;
};

struct StaticInstances {
    const char* className;
    Protocol* instances[1]; // ends with null
};

struct SymbolTable {
    unsigned long selectorCount;
    void* selectors;
    unsigned short classCount;
    unsigned short categoryCount;
    void* definitions[1]; // classes, categories, and the list of static instances, which ends with null
};

struct Module {
    unsigned long version;
    unsigned long size;
    const char* name;
    SymbolTable* symbols;
};

constexpr unsigned long moduleVersion = 8;
constexpr std::size_t protocolVersion = 2;
constexpr long sizeOfNSObject = 16;

void adapt(ProtocolList* list);

void adapt(Protocol& protocol) {
    if (protocol.version != protocolVersion + 1)
        return;
    protocol.version = protocolVersion;
    adapt(protocol.inherited);
}

void adapt(ProtocolList* list) {
    for (; list != nullptr; list = list->next)
        for (std::size_t i = 0; i < list->count; ++i)
            adapt(*list->protocols[i]);
}

void adapt(Class& cls) {
    adapt(cls.protocols);
    if (cls.instanceSize >= 0)
        return;
    if (std::strcmp(cls.baseClass, "NSObject") != 0) {
        std::fprintf(stderr, "%s: only classes derived from NSObject can be adapted\n", cls.name);
        std::abort();
    }
    cls.instanceSize = sizeOfNSObject - cls.instanceSize;
    for (int i = 0; cls.variables != nullptr && i < cls.variables->count; ++i) {
        cls.variables->variables[i].offset += static_cast<int>(sizeOfNSObject);
        *cls.offsets[i] += static_cast<int>(sizeOfNSObject);
    }
}

void adapt(Module& module) {
    if (module.version == moduleVersion)
        return;
    module.version = moduleVersion;
    module.size = sizeof module;
    auto& symbols = *module.symbols;
    for (int i = 0; i < symbols.classCount; ++i)
        adapt(*static_cast<Class*>(symbols.definitions[i]));
    auto** statics = static_cast<StaticInstances**>(symbols.definitions[symbols.classCount + symbols.categoryCount]);
    for (; statics != nullptr && *statics != nullptr; ++statics)
        for (Protocol** protocol = (*statics)->instances; *protocol != nullptr; ++protocol)
            adapt(**protocol);
}

} // namespace

extern "C" {

void __real___objc_exec_class(Module* module);

void __wrap___objc_exec_class(Module* module) {
    adapt(*module);
    __real___objc_exec_class(module);
}
}

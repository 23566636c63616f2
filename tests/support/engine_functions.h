// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The exported functions as a table, so that two libraries with the same exports can be driven by the same code.

#ifndef ULLAGE_TESTS_SUPPORT_ENGINE_FUNCTIONS_H
#define ULLAGE_TESTS_SUPPORT_ENGINE_FUNCTIONS_H

#include <dlfcn.h>
#include <ullage/engine.h>

#include <stdexcept>
#include <string>

#define ULLAGE_FOR_EACH_EXPORT(apply)                                                                               \
    apply(DS_AllowRankOrder) apply(DS_ConstraintTypeScalar) apply(DS_CreateGroup) apply(DS_DataMatrix)              \
        apply(DS_DataScalar) apply(DS_DataVector) apply(DS_ForceGibbs) apply(DS_ForceMC) apply(DS_GetErrorMessageW) \
            apply(DS_GetGroupOneTotalSampleSize) apply(DS_GetLikelihoods) apply(DS_GetSampleSize) apply(DS_GetTest) \
                apply(DS_GibbsClose) apply(DS_GibbsOpen) apply(DS_GoToGroup) apply(DS_Impute)                       \
                    apply(DS_ImputeGroupMembership) apply(DS_KeyEnd) apply(DS_KeyGroupDef) apply(DS_KeySelect)      \
                        apply(DS_KeyVariableDef) apply(DS_KeyWeight) apply(DS_NVariables) apply(DS_SampleMoments)   \
                            apply(DS_SetMixtureModeling) apply(DS_SetTest) apply(DS_VariableNameLength)             \
                                apply(DS_VariableNameW)

struct EngineFunctions {
#define ULLAGE_MEMBER(name) decltype(&::name) name;
    ULLAGE_FOR_EACH_EXPORT(ULLAGE_MEMBER)
#undef ULLAGE_MEMBER
};

// A library file, loaded while the object lives.
class EngineLibrary {
public:
    explicit EngineLibrary(const char *path) : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr) throw std::runtime_error(dlerror());
#define ULLAGE_LOOK_UP(name) look_up(functions_.name, #name);
        ULLAGE_FOR_EACH_EXPORT(ULLAGE_LOOK_UP)
#undef ULLAGE_LOOK_UP
    }
    EngineLibrary(const EngineLibrary &) = delete;
    EngineLibrary &operator=(const EngineLibrary &) = delete;
    ~EngineLibrary() {
        dlclose(handle_);
    }

    const EngineFunctions *operator->() const {
        return &functions_;
    }
    const EngineFunctions &functions() const {
        return functions_;
    }

private:
    template <typename Function>
    void look_up(Function &function, const char *name) {
        function = reinterpret_cast<Function>(dlsym(handle_, name));
        if (function == nullptr) throw std::runtime_error(std::string("the library does not export ") + name);
    }

    void *handle_;
    EngineFunctions functions_;
};

#endif

// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The shared library loaded at run time, with the exports that a short session needs.

#ifndef ULLAGE_TESTS_SUPPORT_LOADED_LIBRARY_H
#define ULLAGE_TESTS_SUPPORT_LOADED_LIBRARY_H

#include <dlfcn.h>
#include <ullage/engine.h>

#include <stdexcept>

class LoadedLibrary {
public:
    explicit LoadedLibrary(const char *path) : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr) throw std::runtime_error(dlerror());
        find("DS_GibbsOpen", open);
        find("DS_GibbsClose", close);
        find("DS_CreateGroup", create_group);
        find("DS_KeyGroupDef", key_group_def);
        find("DS_KeyEnd", key_end);
        find("DS_Impute", impute);
        find("DS_DataMatrix", data_matrix);
        find("DS_SetTest", set_test);
        find("DS_GetTest", get_test);
    }
    LoadedLibrary(const LoadedLibrary &) = delete;
    LoadedLibrary &operator=(const LoadedLibrary &) = delete;
    ~LoadedLibrary() { dlclose(handle_); }

    decltype(&DS_GibbsOpen) open;
    decltype(&DS_GibbsClose) close;
    decltype(&DS_CreateGroup) create_group;
    decltype(&DS_KeyGroupDef) key_group_def;
    decltype(&DS_KeyEnd) key_end;
    decltype(&DS_Impute) impute;
    decltype(&DS_DataMatrix) data_matrix;
    decltype(&DS_SetTest) set_test;
    decltype(&DS_GetTest) get_test;

private:
    template <typename Function>
    void find(const char *name, Function &function) {
        function = reinterpret_cast<Function>(dlsym(handle_, name));
        if (function == nullptr) throw std::runtime_error(name);
    }

    void *handle_;
};

#endif

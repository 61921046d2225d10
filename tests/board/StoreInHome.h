#pragma once

#include "Plumtide/store/TaskStore.h"

#include "tests/support/TestHome.h"

inline const QString tasksFile = ".tavvel/tasks.json";

/// A store in a home of its own.
struct StoreInHome
{
    TestHome home;
    std::unique_ptr<TaskStore> store;
    void restart()
    {
        store.reset();
        store = std::make_unique<TaskStore>(home.environment());
    }
};

// The border between the library's exceptions and its boolean results: one function for all
// services and handles.
#ifndef LANTRIX_LANTRIXGUARD_H
#define LANTRIX_LANTRIXGUARD_H

#include "base/loggerBase/src/CoText.h"

#include <exception>
#include <string>
#include <utility>

/// Runs \p body and returns its result; an exception becomes false, its text the \p error.
template <class Body>
bool lantrixGuarded(std::string& error, Body&& body) {
    try {
        return std::forward<Body>(body)();
    } catch (const std::exception& failure) {
        coAssignText(error, failure.what());
        return false;
    }
}

#endif

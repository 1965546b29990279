// Nets that the user names in commands.
#pragma once

#include <string>

#include "qkzeft_variable.h"

/// A handle that a command holds while it runs.
class UserHandle {
public:
    /// Finds the one net that `pattern`, which may be null, names.
    explicit UserHandle(const char* pattern) : variable(QkVariable::GetByName(pattern)) {}
    ~UserHandle() {
        if (variable) QkVariable::Destroy(variable);
    }
    UserHandle(const UserHandle&) = delete;
    UserHandle& operator=(const UserHandle&) = delete;

    explicit operator bool() const { return variable != nullptr; }
    QkVariable* get() const { return variable; }
    QkVariable* operator->() const { return variable; }

private:
    QkVariable* variable;
};

/// Removes a net's name from the start of `text`. It ends at white space, at one of `stops` or at a
/// '['. As scopes and nets may have brackets in their names, it ends at the first bracket that
/// makes it the name of a net, or at the first of all if none does.
std::string takeNetName(const char*& text, const char* stops);

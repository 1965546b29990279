// What a program of sessions has of its own.
#pragma once

#include "qkzeft.h"

/// Registers the model that its sessions are held with.
void registerSessionModel();

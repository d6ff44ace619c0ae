#pragma once

#include "PIHostInterface.h"

// The automation entry the host calls. Only "Do It" from "PS Photoshop" runs
// the send; any other caller or selector is accepted and ignored.
extern "C" __attribute__((visibility("default"))) SPErr
AutoPluginMain(const char* caller, const char* selector, void* message);

SPErr TivPluginMain(const char* caller, const char* selector, void* message);

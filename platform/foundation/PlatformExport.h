#pragma once

// Marks the classes a shared library built on the platform shows its users;
// everything else is compiled hidden.
#define VELMORAPLATFORM_EXPORT __attribute__((visibility("default")))

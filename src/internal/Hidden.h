#pragma once

/// For the definition of a class that is declared inside an exported one, which would otherwise be exported with it.
#define QAR_HIDDEN __attribute__((visibility("hidden")))

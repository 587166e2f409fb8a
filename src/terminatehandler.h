#pragma once

/// Logs the exception that ends the process, then aborts. For std::set_terminate.
[[noreturn]] void HandleTerminate();

#pragma once

// Milliseconds that a test waits for what has to come. Where nothing else runs that takes a few milliseconds, or
// seconds under a sanitizer; the rest is for a machine that has much else to do.
inline constexpr int patience = 60000;

#pragma once

constexpr int patience = 60000; // milliseconds, for a machine that has much else to do

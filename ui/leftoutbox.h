#pragma once

#include <functional>

class QWidget;
namespace runwatch {
struct StartPlan;
}

// Tells over the window what the start did without, and why; nothing if that is nothing. The button
// "Try Again" calls `tryAgain`. Interface thread; returns at once.
void showLeftOut(QWidget *window, const runwatch::StartPlan &plan,
                 const std::function<void()> &tryAgain);

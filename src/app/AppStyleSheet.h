#pragma once

#include <QString>

// The application-wide style sheet: three push-button looks picked by a button's status tip or
// accessible description, "btBlue", "btGreen" or "btOrange".
QString kelvo_style_sheet();

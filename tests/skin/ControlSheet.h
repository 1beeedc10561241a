#pragma once

#include <QImage>

/// Every control of both skins in every state, as a screen of that ratio shows it.
QImage controlSheet(double ratio);

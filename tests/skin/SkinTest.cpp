#include "TestMain.h"
class SkinTest : public QObject { Q_OBJECT };
QUILLON_OFFSCREEN_TEST_MAIN(SkinTest)
#include "SkinTest.moc"

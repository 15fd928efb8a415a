#include <qar/IPlatformAdapterInterface.h>

int main() { return qar::IPlatformAdapterInterface::Instance()->GetDeviceManagerAPI() ? 0 : 1; }

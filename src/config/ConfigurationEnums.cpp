#include <config/ConfigurationEnums.h>

#include "moc_ConfigurationEnums.cpp"

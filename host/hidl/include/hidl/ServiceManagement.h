#pragma once

#include <hidl/HidlTransportSupport.h>

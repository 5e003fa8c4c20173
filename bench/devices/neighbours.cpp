// neighbours - related calls that the model does not cover, so that a program that uses one fails with its name.

#include "not_covered.h"

#define NOT_COVERED(name)     \
  extern "C" void name() {    \
    bench::notCovered(#name); \
  }

NOT_COVERED(CM_Get_DevNode_PropertyW)
NOT_COVERED(CM_Get_DevNode_Registry_PropertyW)
NOT_COVERED(CM_Get_Device_ID_ListW)
NOT_COVERED(CM_Get_Device_ID_List_SizeW)
NOT_COVERED(CM_Query_And_Remove_SubTreeW)
NOT_COVERED(CM_Setup_DevNode)
NOT_COVERED(CM_Uninstall_DevNode)
NOT_COVERED(SetupDiChangeState)
NOT_COVERED(SetupDiCreateDeviceInfoListExW)
NOT_COVERED(SetupDiDeleteDeviceInfo)
NOT_COVERED(SetupDiEnumDeviceInterfaces)
NOT_COVERED(SetupDiGetClassDevsA)
NOT_COVERED(SetupDiGetClassDevsExW)
NOT_COVERED(SetupDiGetDeviceInstanceIdW)
NOT_COVERED(SetupDiGetDevicePropertyW)
NOT_COVERED(SetupDiGetDeviceRegistryPropertyA)
NOT_COVERED(SetupDiGetSelectedDriverW)
NOT_COVERED(SetupDiOpenDeviceInfoW)
NOT_COVERED(SetupDiSetDeviceRegistryPropertyW)
NOT_COVERED(SetupCopyOEMInfW)
NOT_COVERED(SetupInstallFilesFromInfSectionW)
NOT_COVERED(SetupUninstallOEMInfA)

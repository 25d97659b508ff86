#pragma once
// The print spooler: printer and job information with the two-call size pattern, and raw output.

#include "platform/host/win32/gdi.h"
#include "platform/host/win32/types.h"

struct PRINTER_INFO_2W {
    LPWSTR pServerName, pPrinterName, pShareName, pPortName, pDriverName, pComment, pLocation;
    DEVMODEW* pDevMode;
    LPWSTR pSepFile, pPrintProcessor, pDatatype, pParameters;
    void* pSecurityDescriptor;
    DWORD Attributes, Priority, DefaultPriority, StartTime, UntilTime, Status, cJobs, AveragePPM;
};
struct PRINTER_INFO_5W {
    LPWSTR pPrinterName, pPortName;
    DWORD Attributes, DeviceNotSelectedTimeout, TransmissionRetryTimeout;
};
struct PRINTER_INFO_8W {
    DEVMODEW* pDevMode;
};
using PRINTER_INFO_9W = PRINTER_INFO_8W;
struct JOB_INFO_2W {
    DWORD JobId;
    LPWSTR pPrinterName, pMachineName, pUserName, pDocument, pNotifyName, pDatatype, pPrintProcessor, pParameters,
        pDriverName;
    DEVMODEW* pDevMode;
    LPWSTR pStatus;
    void* pSecurityDescriptor;
    DWORD Status, Priority, Position, StartTime, UntilTime, TotalPages, Size;
    SYSTEMTIME Submitted;
    DWORD Time, PagesPrinted;
};

BOOL GetPrinterW(HANDLE printer, DWORD level, LPBYTE buffer, DWORD capacity, LPDWORD needed);
BOOL GetJobW(HANDLE printer, DWORD job, DWORD level, LPBYTE buffer, DWORD capacity, LPDWORD needed);
BOOL WritePrinter(HANDLE printer, LPVOID data, DWORD bytes, LPDWORD written);
BOOL GetPrinterDriverDirectoryW(LPWSTR server, LPWSTR environment, DWORD level, LPBYTE buffer, DWORD capacity,
                                LPDWORD needed);

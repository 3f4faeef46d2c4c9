// Takes the address of every exported function, so that each compiler names them all.
#include "KrRiffUtils/KrRiffUtils.h"

extern int (*volatile g_createReader)(IKrRiffReader**);
extern int (*volatile g_createWriter)(IKrAviWriter**);
extern int (*volatile g_createPool)(unsigned long, IKrdsMediaSamplePool**);
extern int (*volatile g_modeOfReader)(IKrRiffReader*, EKrScanMode&);
extern int (*volatile g_modeOfPath)(const wchar_t*, EKrScanMode&);
extern int (*volatile g_chunkModeOfReader)(IKrRiffReader*, int, EKrScanMode&);
extern int (*volatile g_chunkModeOfPath)(const wchar_t*, int, EKrScanMode&);
extern int (*volatile g_aspectOfReader)(IKrRiffReader*, int&, int&);
extern int (*volatile g_aspectOfPath)(const wchar_t*, int&, int&);
extern int (*volatile g_chunkAspectOfReader)(IKrRiffReader*, int, int&, int&);
extern int (*volatile g_chunkAspectOfPath)(const wchar_t*, int, int&, int&);
extern int (*volatile g_clearCache)(const wchar_t*);

int (*volatile g_createReader)(IKrRiffReader**) = &KrCreateRiffReader;
int (*volatile g_createWriter)(IKrAviWriter**) = &KrCreateAviWriter;
int (*volatile g_createPool)(unsigned long, IKrdsMediaSamplePool**) = &KrCreateMediaSamplePool;
int (*volatile g_modeOfReader)(IKrRiffReader*, EKrScanMode&) = &KrRiffUtils::GetAviScanMode;
int (*volatile g_modeOfPath)(const wchar_t*, EKrScanMode&) = &KrRiffUtils::GetAviScanMode;
int (*volatile g_chunkModeOfReader)(IKrRiffReader*, int,
                                    EKrScanMode&) = &KrRiffUtils::GetAviScanModeFromPrivateChunk;
int (*volatile g_chunkModeOfPath)(const wchar_t*, int,
                                  EKrScanMode&) = &KrRiffUtils::GetAviScanModeFromPrivateChunk;
int (*volatile g_aspectOfReader)(IKrRiffReader*, int&, int&) = &KrRiffUtils::GetAviPixelAspectRatio;
int (*volatile g_aspectOfPath)(const wchar_t*, int&, int&) = &KrRiffUtils::GetAviPixelAspectRatio;
int (*volatile g_chunkAspectOfReader)(IKrRiffReader*, int, int&,
                                      int&) = &KrRiffUtils::GetAviPixelAspectRatioFromPrivateChunk;
int (*volatile g_chunkAspectOfPath)(const wchar_t*, int, int&,
                                    int&) = &KrRiffUtils::GetAviPixelAspectRatioFromPrivateChunk;
int (*volatile g_clearCache)(const wchar_t*) = &KrRiffUtils::ClearCache;

// The LightWave 3D 5.x plug-in interface (handler versions 2 and 3, Win32 x86):
// basic types, the module descriptor and server records, handler records of the
// five classes, load/save states, access records, global service records,
// codes and flags. Written from the host maker's published interface.
//
// Every host<->module function is cdecl, the compiler default on Win32, so no
// calling-convention decoration is needed. Records use the compiler's natural
// layout: doubles sit on 8-byte boundaries, as the host's compiler laid them out
// (an assumption kept in one place: layout_checks.h pins the offsets).
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef void *LWItemID;
typedef int LWItemType;
typedef int LWItemParam;
typedef int LWFrame;
typedef double LWTime;
typedef const char *LWError;
typedef void *LWInstance;
typedef unsigned char BufferValue;
typedef void *LWImageID;

#define LWITEM_NULL ((LWItemID)0)

typedef void *GlobalFunc(const char *serviceName, int useCode);
typedef int ActivateFunc(long version, GlobalFunc *global, void *local, void *serverData);

// ---- module descriptor and server table ----

typedef struct {
    const char *className;
    const char *name;
    ActivateFunc *activate;
} ServerRecord;

typedef struct {
    unsigned long sysSync;
    unsigned long sysVersion;
    unsigned long sysMachine;
    void *(*startup)(void);
    void (*shutdown)(void *serverData);
    ServerRecord *serverDefs;
} ModuleDescriptor;

#define MOD_SYSSYNC 0x04121994UL
#define MOD_SYSVER 2UL
#define MOD_MACHINE_X86 0x300UL

// ---- activation ----

enum {
    AFUNC_OK = 0,
    AFUNC_BADVERSION = 1,
    AFUNC_BADGLOBAL = 2,
    AFUNC_BADLOCAL = 3,
    AFUNC_BADAPP = 4
};

enum { GFUSE_TRANSIENT = 0, GFUSE_ACQUIRE = 1, GFUSE_RELEASE = 2 };

// ---- items ----

enum { LWI_OBJECT = 0, LWI_LIGHT = 1, LWI_CAMERA = 2, LWI_BONE = 3 };

enum {
    LWIP_POSITION = 1,
    LWIP_RIGHT = 2,
    LWIP_UP = 3,
    LWIP_FORWARD = 4,
    LWIP_ROTATION = 5,
    LWIP_SCALING = 6,
    LWIP_PIVOT = 7,
    LWIP_W_POSITION = 8,
    LWIP_W_RIGHT = 9,
    LWIP_W_UP = 10,
    LWIP_W_FORWARD = 11
};

enum { LWVECF_0 = 1, LWVECF_1 = 2, LWVECF_2 = 4 };

// ---- load and save states ----

enum { LWIO_OBJECT = 0, LWIO_SCENE = 1 };

typedef struct {
    int ioMode;
    void *readData;
    int (*read)(void *readData, char *buf, int len);
} LWLoadState;

typedef struct {
    int ioMode;
    void *writeData;
    void (*write)(void *writeData, char *buf, int len);
} LWSaveState;

// ---- access records ----

typedef struct {
    LWItemID item;
    LWFrame frame;
    LWTime time;
    void (*getParam)(LWItemParam, LWTime, double vector[3]);
    void (*setParam)(LWItemParam, const double vector[3]);
} ItemMotionAccess;

typedef struct {
    double oPos[3];
    double source[3];
} DisplacementAccess;

typedef struct st_ShaderAccess ShaderAccess;
typedef int LWIlluminateFunc(LWItemID light, const double pos[3], double dir[3], double color[3]);
typedef double LWRayTraceFunc(const double pos[3], const double dir[3], double color[3]);
typedef double LWRayCastFunc(const double pos[3], const double dir[3]);
typedef double LWRayShadeFunc(const double pos[3], const double dir[3], ShaderAccess *);

struct st_ShaderAccess {
    int sx, sy;
    double oPos[3], wPos[3];
    double gNorm[3];
    double spotSize;
    double raySource[3];
    double rayLength;
    double cosine;
    double oXfrm[9], wXfrm[9];
    LWItemID objID;
    int polNum;
    double wNorm[3];
    double color[3];
    double luminous;
    double diffuse;
    double specular;
    double mirror;
    double transparency;
    double eta;
    double roughness;
    LWIlluminateFunc *illuminate;
    LWRayTraceFunc *rayTrace;
    LWRayCastFunc *rayCast;
    LWRayShadeFunc *rayShade;
};

typedef struct {
    double sx, sy;
    void (*bufVal)(int type, int num, BufferValue *out);
    void (*fltVal)(int type, int num, float *out);
    void (*setRGBA)(BufferValue rgba[4]);
    LWIlluminateFunc *illuminate;
    LWRayTraceFunc *rayTrace;
    LWRayCastFunc *rayCast;
    LWRayShadeFunc *rayShade;
} PixelAccess;

typedef struct {
    void *data;
    void (*init)(void *data, unsigned int total);
    int (*step)(void *data, unsigned int increment);
    void (*done)(void *data);
} Monitor;

typedef struct {
    int width, height;
    LWFrame frame;
    LWTime start, end;
    BufferValue *(*bufLine)(int type, int y);
    float *(*fltLine)(int type, int y);
    void (*setRGB)(int x, int y, BufferValue rgb[3]);
    void (*setAlpha)(int x, int y, BufferValue a);
    Monitor *monitor;
} FilterAccess;

// ---- handler records (full version-3 form; version 2 ends two slots earlier) ----

typedef struct {
    LWInstance (*create)(LWError *err, LWItemID item);
    void (*destroy)(LWInstance);
    LWError (*copy)(LWInstance from, LWInstance to, LWItemID item);
    LWError (*load)(LWInstance, const LWLoadState *);
    LWError (*save)(LWInstance, const LWSaveState *);
    void (*evaluate)(LWInstance, const ItemMotionAccess *);
    const char *(*descln)(LWInstance);
    const LWItemID *(*useItems)(LWInstance);
    void (*changeID)(LWInstance, const LWItemID *list);
} ItemMotionHandler;

// The local data of a "LayoutGeneric" server at version 2 (at version 1 the
// server is handed it but does not use it): the scene saved as a scene file,
// or replaced by one (read from `file`, known to the user as `name`).
typedef struct {
    int (*saveScene)(const char *file);
    int (*loadScene)(const char *file, const char *name);
} LayoutGeneric;

typedef struct {
    LWInstance (*create)(LWError *err, LWItemID item);
    void (*destroy)(LWInstance);
    LWError (*copy)(LWInstance from, LWInstance to, LWItemID item);
    LWError (*load)(LWInstance, const LWLoadState *);
    LWError (*save)(LWInstance, const LWSaveState *);
    LWError (*newTime)(LWInstance, LWItemID object, LWFrame, LWTime);
    void (*evaluate)(LWInstance, DisplacementAccess *);
    unsigned int (*flags)(LWInstance);
    const char *(*descln)(LWInstance);
    const LWItemID *(*useItems)(LWInstance);
    void (*changeID)(LWInstance, const LWItemID *list);
} DisplacementHandler;

typedef struct {
    LWInstance (*create)(LWError *err);
    void (*destroy)(LWInstance);
    LWError (*copy)(LWInstance from, LWInstance to);
    LWError (*load)(LWInstance, const LWLoadState *);
    LWError (*save)(LWInstance, const LWSaveState *);
    LWError (*init)(LWInstance);
    void (*cleanup)(LWInstance);
    LWError (*newTime)(LWInstance, LWFrame, LWTime);
    void (*evaluate)(LWInstance, ShaderAccess *);
    unsigned int (*flags)(LWInstance);
    const char *(*descln)(LWInstance);
    const LWItemID *(*useItems)(LWInstance);
    void (*changeID)(LWInstance, const LWItemID *list);
} ShaderHandler;

typedef struct {
    LWInstance (*create)(LWError *err);
    void (*destroy)(LWInstance);
    LWError (*copy)(LWInstance from, LWInstance to);
    LWError (*load)(LWInstance, const LWLoadState *);
    LWError (*save)(LWInstance, const LWSaveState *);
    LWError (*init)(LWInstance);
    void (*cleanup)(LWInstance);
    LWError (*newTime)(LWInstance, LWFrame, LWTime);
    void (*evaluate)(LWInstance, const PixelAccess *);
    unsigned int (*flags)(LWInstance);
    const char *(*descln)(LWInstance);
    const LWItemID *(*useItems)(LWInstance);
    void (*changeID)(LWInstance, const LWItemID *list);
} PixelFilterHandler;

typedef struct {
    LWInstance (*create)(LWError *err);
    void (*destroy)(LWInstance);
    LWError (*copy)(LWInstance from, LWInstance to);
    LWError (*load)(LWInstance, const LWLoadState *);
    LWError (*save)(LWInstance, const LWSaveState *);
    void (*process)(LWInstance, const FilterAccess *);
    unsigned int (*flags)(LWInstance);
    const char *(*descln)(LWInstance);
    const LWItemID *(*useItems)(LWInstance);
    void (*changeID)(LWInstance, const LWItemID *list);
} ImageFilterHandler;

// ---- flags and buffers ----

enum {
    LWSHF_NORMAL = 1,
    LWSHF_COLOR = 2,
    LWSHF_LUMINOUS = 4,
    LWSHF_DIFFUSE = 8,
    LWSHF_SPECULAR = 16,
    LWSHF_MIRROR = 32,
    LWSHF_TRANSP = 64,
    LWSHF_ETA = 128,
    LWSHF_ROUGH = 256,
    LWSHF_RAYTRACE = 1024
};

enum { LWDMF_WORLD = 1, LWDMF_BEFOREBONES = 2 };

enum {
    LWBUF_SPECIAL = 0,
    LWBUF_LUMINOUS = 1,
    LWBUF_DIFFUSE = 2,
    LWBUF_SPECULAR = 3,
    LWBUF_MIRROR = 4,
    LWBUF_TRANS = 5,
    LWBUF_RAW_RED = 6,
    LWBUF_RAW_GREEN = 7,
    LWBUF_RAW_BLUE = 8,
    LWBUF_SHADING = 9,
    LWBUF_SHADOW = 10,
    LWBUF_GEOMETRY = 11,
    LWBUF_DEPTH = 12,
    LWBUF_DIFFSHADE = 13,
    LWBUF_SPECSHADE = 14,
    LWBUF_RED = 32,
    LWBUF_GREEN = 33,
    LWBUF_BLUE = 34,
    LWBUF_ALPHA = 35
};

#define LWPFF_RAYTRACE 0x80000000u

// ---- global services ----

#define LWSERVICE_MESSAGES "Info Messages"
#define LWSERVICE_HOST_DISPLAY "Host Display Info"
#define LWSERVICE_FILE_REQUEST "File Request"
#define LWSERVICE_SCENE_INFO "LW Scene Info"
#define LWSERVICE_SCENE_INFO_2 "LW Scene Info 2"
#define LWSERVICE_ITEM_INFO "LW Item Info"
#define LWSERVICE_ITEM_INFO_2 "LW Item Info 2"
#define LWSERVICE_OBJECT_INFO "LW Object Info"
#define LWSERVICE_BONE_INFO "LW Bone Info"
#define LWSERVICE_LIGHT_INFO "LW Light Info"
#define LWSERVICE_LIGHT_INFO_2 "LW Light Info 2"
#define LWSERVICE_CAMERA_INFO "LW Camera Info"
#define LWSERVICE_IMAGE_LIST "LW Image List"

typedef struct {
    void (*info)(const char *line1, const char *line2);
    void (*error)(const char *line1, const char *line2);
    void (*warning)(const char *line1, const char *line2);
} MessageFuncs;

// Win32 form; the handles are kept as plain pointers so this header needs no windows.h.
typedef struct {
    void *instance;
    void *window;
} HostDisplayInfo;

typedef int FileReqFunc(const char *hail, char *name, char *path, char *fullName, int buflen);

enum { LWRTYPE_WIRE = 0, LWRTYPE_QUICK = 1, LWRTYPE_REALISTIC = 2 };

enum {
    LWROPT_SHADOWTRACE = 1,
    LWROPT_REFLECTTRACE = 2,
    LWROPT_REFRACTTRACE = 4,
    LWROPT_FIELDS = 8,
    LWROPT_EVENFIELDS = 16,
    LWROPT_MOTIONBLUR = 32,
    LWROPT_DEPTHOFFIELD = 64,
    LWROPT_LIMITEDREGION = 128
};

typedef struct {
    const char *name;
    const char *filename;
    int numPoints;
    int numPolygons;
    int renderType;
    int renderOpts;
    LWFrame frameStart;
    LWFrame frameEnd;
    LWFrame frameStep;
    double framesPerSecond;
    int frameWidth;
    int frameHeight;
    double pixelAspect;
    int minSamplesPerPixel;
    int maxSamplesPerPixel;
    int limitedRegion[4];
    int recursionDepth;
} LWSceneInfo;

// "LW Item Info 2" has all 13 slots; the plain "LW Item Info" lacks the tags
// (the last two).
typedef struct {
    LWItemID (*first)(LWItemType, LWItemID boneObject);
    LWItemID (*next)(LWItemID);
    LWItemID (*firstChild)(LWItemID parent);
    LWItemID (*nextChild)(LWItemID parent, LWItemID prevChild);
    LWItemID (*parent)(LWItemID);
    LWItemID (*target)(LWItemID);
    LWItemID (*goal)(LWItemID);
    LWItemType (*type)(LWItemID);
    const char *(*name)(LWItemID);
    void (*param)(LWItemID, LWItemParam, LWTime, double vector[3]);
    unsigned int (*limits)(LWItemID, LWItemParam, double min[3], double max[3]);
    const char *(*getTag)(LWItemID, int tagNumber);
    void (*setTag)(LWItemID, int tagNumber, const char *);
} LWItemInfo;

enum { LWOSHAD_SELF = 1, LWOSHAD_CAST = 2, LWOSHAD_RECEIVE = 4 };

typedef struct {
    const char *(*filename)(LWItemID);
    int (*numPoints)(LWItemID);
    int (*numPolygons)(LWItemID);
    unsigned int (*shadowOpts)(LWItemID);
    double (*dissolve)(LWItemID, LWTime);
} LWObjectInfo;

enum { LWBONEF_ACTIVE = 1, LWBONEF_LIMITEDRANGE = 2 };

typedef struct {
    unsigned int (*flags)(LWItemID);
    void (*restParam)(LWItemID, LWItemParam, double vector[3]);
    double (*restLength)(LWItemID);
    void (*limits)(LWItemID, double *inner, double *outer);
} LWBoneInfo;

enum { LWLIGHT_DISTANT = 0, LWLIGHT_POINT = 1, LWLIGHT_SPOT = 2, LWLIGHT_LINEAR = 3, LWLIGHT_AREA = 4 };
enum { LWLSHAD_OFF = 0, LWLSHAD_RAYTRACE = 1, LWLSHAD_MAP = 2 };
enum { LWLFL_LIMITED_RANGE = 1, LWLFL_NO_DIFFUSE = 2, LWLFL_NO_SPECULAR = 4 };

// "LW Light Info 2" has all 7 slots; the plain "LW Light Info" is trusted only
// up to coneAngles (slot 4).
typedef struct {
    void (*ambient)(LWTime, double color[3]);
    int (*type)(LWItemID);
    void (*color)(LWItemID, LWTime, double color[3]);
    int (*shadowType)(LWItemID);
    void (*coneAngles)(LWItemID, double *radius, double *edge);
    unsigned int (*flags)(LWItemID);
    double (*range)(LWItemID);
} LWLightInfo;

typedef struct {
    double (*zoomFactor)(LWItemID, LWTime);
    double (*focalLength)(LWItemID, LWTime);
    double (*focalDistance)(LWItemID, LWTime);
    double (*fStop)(LWItemID, LWTime);
    double (*blurLength)(LWItemID, LWTime);
    void (*fovAngles)(LWItemID, LWTime, double *horizontal, double *vertical);
} LWCameraInfo;

typedef struct {
    LWImageID (*first)(void);
    LWImageID (*next)(LWImageID);
    LWImageID (*load)(const char *file);
    const char *(*name)(LWImageID);
    const char *(*filename)(LWImageID, LWFrame);
    int (*isColor)(LWImageID);
    void (*needAA)(LWImageID);
    void (*size)(LWImageID, int *w, int *h);
    BufferValue (*luma)(LWImageID, int x, int y);
    void (*RGB)(LWImageID, int x, int y, BufferValue rgb[3]);
    double (*lumaSpot)(LWImageID, double x, double y, double spotSize, int blend);
    void (*RGBSpot)(LWImageID, double x, double y, double spotSize, int blend, double rgb[3]);
    void (*clear)(LWImageID);
} LWImageList;

#ifdef __cplusplus
}
#endif

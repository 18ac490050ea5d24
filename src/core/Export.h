#pragma once
#include <core/PosixSync.h>

#include <QtGlobal>

/// \file
/// Export macros of the libraries. A static build defines VELMIO_STATIC for its users.

/// \cond
#if defined(VELMIO_STATIC)
    #define VELMIO_INTERFACES_EXPORT
    #define VELMIO_CORE_EXPORT
    #define VELMIO_DATABASE_EXPORT
    #define VELMIO_CONFIGURATION_EXPORT
    #define VELMIO_TESTKIT_EXPORT
    #define VELMIO_FLEET_EXPORT
    #define VELMIO_TREE_EXPORT
#else
    #if defined(VelmioInterfaces_EXPORTS)
        #define VELMIO_INTERFACES_EXPORT Q_DECL_EXPORT
    #else
        #define VELMIO_INTERFACES_EXPORT Q_DECL_IMPORT
    #endif
    #if defined(VelmioCore_EXPORTS)
        #define VELMIO_CORE_EXPORT Q_DECL_EXPORT
    #else
        #define VELMIO_CORE_EXPORT Q_DECL_IMPORT
    #endif
    #if defined(VelmioDatabase_EXPORTS)
        #define VELMIO_DATABASE_EXPORT Q_DECL_EXPORT
    #else
        #define VELMIO_DATABASE_EXPORT Q_DECL_IMPORT
    #endif
    #if defined(VelmioConfiguration_EXPORTS)
        #define VELMIO_CONFIGURATION_EXPORT Q_DECL_EXPORT
    #else
        #define VELMIO_CONFIGURATION_EXPORT Q_DECL_IMPORT
    #endif
    #if defined(VelmioTestKit_EXPORTS)
        #define VELMIO_TESTKIT_EXPORT Q_DECL_EXPORT
    #else
        #define VELMIO_TESTKIT_EXPORT Q_DECL_IMPORT
    #endif
    #if defined(VelmioFleet_EXPORTS)
        #define VELMIO_FLEET_EXPORT Q_DECL_EXPORT
    #else
        #define VELMIO_FLEET_EXPORT Q_DECL_IMPORT
    #endif
    #if defined(VelmioTree_EXPORTS)
        #define VELMIO_TREE_EXPORT Q_DECL_EXPORT
    #else
        #define VELMIO_TREE_EXPORT Q_DECL_IMPORT
    #endif
#endif
/// \endcond

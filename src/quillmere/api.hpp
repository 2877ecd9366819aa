#pragma once

/// Stands before what a shared build of the library exports; everything else in it is hidden.
#define QUILLMERE_API __attribute__((visibility("default")))

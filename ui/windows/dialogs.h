#pragma once
// Numbers of the dialogs and their controls. A control's label, where it has one, has its number and kLabel.

#define KV_DIALOG_PAPER 100
#define KV_DIALOG_QUALITY 101
#define KV_DIALOG_FONTS 102
#define KV_DIALOG_DEFAULTS 103

#define KV_LABEL 500

#define KV_PAPER 200
#define KV_WIDTH 201
#define KV_HEIGHT 202
#define KV_WIDTH_UNITS 203
#define KV_HEIGHT_UNITS 204
#define KV_ORIENTATION 205
#define KV_TRAY 206
#define KV_RESOLUTION 210
#define KV_DEPTH 211
#define KV_RECORDS 212
#define KV_JPEG 213
#define KV_JPEG_QUALITY 214
#define KV_REDUCE_COLORS 215
#define KV_RUN_LENGTH 216
#define KV_DOWNSAMPLE 217
#define KV_DOWNSAMPLE_DPI 218
#define KV_DOWNSAMPLE_MONO 219
#define KV_DOWNSAMPLE_MONO_DPI 220
#define KV_DEFAULT_FONT 230
#define KV_EMBED_FONTS 231
#define KV_CAPTURE_FONTS 232
#define KV_SETTING 240
#define KV_VALUE 241
#define KV_ENFORCED 242
#define KV_OUTBOX 243

#pragma once

#include <AVFoundation/AVAnimation.h>
#include <AVFoundation/AVPlayer.h>
#include <AVFoundation/AVPlayerItem.h>
#include <AVFoundation/AVPlayerLayer.h>
#include <AVFoundation/AVPlayerLooper.h>

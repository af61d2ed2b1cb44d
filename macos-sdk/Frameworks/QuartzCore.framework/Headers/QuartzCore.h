#pragma once

#include <QuartzCore/CAAnimation.h>
#include <QuartzCore/CABase.h>
#include <QuartzCore/CALayer.h>
#include <QuartzCore/CAMediaTiming.h>
#include <QuartzCore/CATransaction.h>

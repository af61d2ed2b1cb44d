#include "hosts/macos/window/VideoIntroViewAppKit.h"

#include "hosts/macos/FoundationValues.h"
#include "hosts/macos/window/ArchiveRefusal.h"
#include "hosts/macos/window/WelcomeViewAppKit.h"

#import <AVFoundation/AVFoundation.h>
#import <QuartzCore/QuartzCore.h>
#include <dispatch/dispatch.h>

namespace {

NSString* const readiness = @"readyForDisplay";

// Its address tells our own observation from those of AppKit.
char observation = 0;

// Layers fade and move on their own when they are told to change, and would be late beside a view.
void changeAtOnce(void (^change)()) {
    [CATransaction begin];
    [CATransaction setDisableActions:YES];
    change();
    [CATransaction commit];
}

} // namespace

@implementation VideoIntroViewAppKit {
    std::optional<std::filesystem::path> _video;
    WelcomeViewAppKit* _fallback;
    AVPlayerLayer* _videoLayer;
    AVQueuePlayer* _player;
    AVPlayerLooper* _looper;
}

- (instancetype)initWithFrame:(NSRect)frame {
    self = [super initWithFrame:frame];
    if (self != nil) {
        self.wantsLayer = YES;
        self.accessibilityElement = YES;
        self.accessibilityRole = NSAccessibilityImageRole;
        self.accessibilityLabel = InstallerCore::toNSString(InstallerCore::VideoIntroView::accessibleName);
        _fallback = [[WelcomeViewAppKit alloc] initWithFrame:self.bounds];
        _fallback.autoresizingMask = NSViewWidthSizable | NSViewHeightSizable;
        [self addSubview:_fallback];
        _videoLayer = [AVPlayerLayer playerLayerWithPlayer:nil];
        _videoLayer.videoGravity = AVLayerVideoGravityResizeAspect;
        _videoLayer.hidden = YES;
        [self.layer addSublayer:_videoLayer];
        [_videoLayer addObserver:self
                      forKeyPath:readiness
                         options:NSKeyValueObservingOptionInitial | NSKeyValueObservingOptionNew
                         context:&observation];
    }
    return self;
}

- (instancetype)initWithCoder:(NSCoder*)coder {
    InstallerCore::refuseArchive();
}

- (void)dealloc {
    [_videoLayer removeObserver:self forKeyPath:readiness context:&observation];
}

- (void)show:(const InstallerCore::VideoIntroView&)value {
    [_fallback show:value.fallback];
    if (value.video != _video) {
        _video = value.video;
        [self play];
    }
}

- (void)play {
    _looper = nil;
    _player = nil;
    if (_video) {
        AVPlayerItem* item = [AVPlayerItem playerItemWithURL:InstallerCore::toNSURL(*_video)];
        _player = [[AVQueuePlayer alloc] init];
        _player.muted = YES;
        _looper = [AVPlayerLooper playerLooperWithPlayer:_player templateItem:item];
    }
    _videoLayer.player = _player;
    [_player play];
}

- (void)layout {
    [super layout];
    changeAtOnce(^{
        self->_videoLayer.frame = self.bounds;
    });
}

// On any thread.
- (void)observeValueForKeyPath:(NSString*)keyPath
                      ofObject:(id)object
                        change:(NSDictionary<NSKeyValueChangeKey, id>*)change
                       context:(void*)context {
    if (context != &observation) {
        [super observeValueForKeyPath:keyPath ofObject:object change:change context:context];
        return;
    }
    __weak VideoIntroViewAppKit* view = self;
    dispatch_async(dispatch_get_main_queue(), ^{
        [view showWhatIsReady];
    });
}

- (void)showWhatIsReady {
    const BOOL isReady = _videoLayer.readyForDisplay;
    changeAtOnce(^{
        self->_videoLayer.hidden = !isReady;
        self->_fallback.hidden = isReady;
    });
}

@end

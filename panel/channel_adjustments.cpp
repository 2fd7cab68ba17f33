// Color Balance and Channel Mixer: one row of sliders, switched between three ranges or channels.

#include <array>

#include "panel/kelvo_controller.h"

namespace kelvo {
namespace {

constexpr SettingControl kColorBalance[] = {
    {&KelvoController::colorBalanceCRSlider, &KelvoController::colorBalanceCRValue, "R"},
    {&KelvoController::colorBalanceMGSlider, &KelvoController::colorBalanceMGValue, "G"},
    {&KelvoController::colorBalanceYBSlider, &KelvoController::colorBalanceYBValue, "B"}};
constexpr SettingControl kChannelMixer[] = {
    {&KelvoController::channelMixerRedSlider, &KelvoController::channelMixerRedValue, "r"},
    {&KelvoController::channelMixerGreenSlider, &KelvoController::channelMixerGreenValue, "g"},
    {&KelvoController::channelMixerBlueSlider, &KelvoController::channelMixerBlueValue, "b"},
    {&KelvoController::channelMixerConstantSlider, &KelvoController::channelMixerConstantValue,
     "c"}};

const char* mixerPrefix(int channel) { return channel == 1 ? "cmg" : channel == 2 ? "cmb" : "cmr"; }

}  // namespace

void KelvoController::updateColorBalance() {
  const int tones = params->intValue("colorBalanceChannel");
  showSettings(kColorBalance, tones == 0   ? "colorBalanceS"
                              : tones == 1 ? "colorBalanceM"
                                           : "colorBalanceH");
  colorBalanceShadowsChannel->selectedCell()->setState(tones == 0 ? 1 : 0);
  colorBalanceMidtonesChannel->selectedCell()->setState(tones == 1 ? 1 : 0);
  colorBalanceHighlightsChannel->selectedCell()->setState(tones == 2 ? 1 : 0);
  applyColorBalance(nullptr);
}

void KelvoController::resetColorBalance(QObject* /*sender*/) {
  storeDefaults(FilterNumber::colorBalance);
  updateColorBalance();
}

// Tones of a number that is none of theirs are shown as highlights and stored as shadows.
void KelvoController::applyColorBalance(QObject* sender) {
  if (!isKindOf<KelvoButton, KelvoTextField, NSSlider>(sender)) return showPreview();
  const int tones = params->intValue("colorBalanceChannel");
  storeSettings(kColorBalance, tones == 1   ? "colorBalanceM"
                               : tones == 2 ? "colorBalanceH"
                                            : "colorBalanceS");
  updateColorBalance();
}

void KelvoController::colorBalanceNewBalance(QObject* sender) {
  const std::array group = {colorBalanceShadowsChannel, colorBalanceMidtonesChannel,
                            colorBalanceHighlightsChannel};
  store("colorBalanceChannel", std::to_string(chooseInGroup(group, sender)));
  updateColorBalance();
}

void KelvoController::updateChannelMixer() {
  const int channel = params->intValue("cmchannel");
  showSettings(kChannelMixer, mixerPrefix(channel), "%");
  channelMixerRedChannel->selectedCell()->setState(channel == 0 ? 1 : 0);
  channelMixerGreenChannel->selectedCell()->setState(channel == 1 ? 1 : 0);
  channelMixerBlueChannel->selectedCell()->setState(channel == 2 ? 1 : 0);
  applyChannelMixer(nullptr);
}

void KelvoController::resetChannelMixer(QObject* /*sender*/) {
  storeDefaults(FilterNumber::channelMixer);
  updateChannelMixer();
}

void KelvoController::applyChannelMixer(QObject* sender) {
  if (!isKindOf<KelvoButton, KelvoTextField, NSSlider>(sender)) return showPreview();
  storeSettings(kChannelMixer, mixerPrefix(params->intValue("cmchannel")));
  updateChannelMixer();
}

void KelvoController::channelMixerNewChannel(QObject* sender) {
  const std::array group = {channelMixerRedChannel, channelMixerGreenChannel,
                            channelMixerBlueChannel};
  store("cmchannel", std::to_string(chooseInGroup(group, sender)));
  updateChannelMixer();
}

}  // namespace kelvo

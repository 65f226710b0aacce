#include "tests/install/PlainDistribution.h"

namespace ZelmoraTevra {

namespace {

constexpr std::int64_t tenMebibytes = 10'485'760;

WideText withSeparator(WideText path, char16_t separator) {
  for (char16_t& unit : path)
    if (unit == u'/' || unit == u'\\') unit = separator;
  return path;
}

WideText upper(WideText path) {
  for (char16_t& unit : path)
    if (unit >= u'a' && unit <= u'z') unit = static_cast<char16_t>(unit - 32);
  return path;
}

bool has(const PlainStorage& storage, const WideText& client) {
  return storage.present && storage.files.contains(withSeparator(client, u'\\'));
}

std::int64_t realSize(const PlainStorage& storage, const WideText& client) {
  return storage.files.at(withSeparator(client, u'\\'));
}

InstallFile newEntry(const WideText& client, std::int32_t flag) {
  InstallFile file;
  file.client = client;
  file.updateFlag = flag;
  return file;
}

void expand(std::vector<InstallUpdate>& updates, const std::vector<const PlainStorage*>& storages) {
  for (InstallUpdate& update : updates) {
    std::vector<InstallFile> files;
    std::vector<InstallFile> folders;
    bool versionFileSeen = false;
    for (const InstallFile& file : update.files) {
      if (file.updateFlag != 8) continue;
      WideText folder = withSeparator(file.client, u'\\');
      while (!folder.empty() && folder.back() == u'\\') folder.pop_back();
      for (const PlainStorage* storage : storages) {
        if (!storage->named || !storage->present || !storage->folders.contains(folder)) continue;
        for (const auto& [path, size] : storage->files) {
          if (!path.starts_with(folder + u'\\')) continue;
          files.push_back(newEntry(path, 4));
          if (path.find(u"version.xml") != WideText::npos && !versionFileSeen) {
            versionFileSeen = true;
            files.push_back(newEntry(u".DeviceConfigurationBackupFile\\version_bkp", 4));
          }
        }
        for (const WideText& path : storage->folders)
          if (path.starts_with(folder + u'\\')) folders.push_back(newEntry(path, 7));
      }
    }
    for (const InstallFile& file : files) update.files.push_back(file);
    for (const InstallFile& file : folders) update.files.push_back(file);
  }
}

void dropDeletes(std::vector<InstallUpdate>& updates) {
  std::map<WideText, bool> written;
  for (const InstallUpdate& update : updates)
    for (const InstallFile& file : update.files)
      if (file.updateFlag == 0 || file.updateFlag == 2 || file.updateFlag == 3)
        written[upper(file.client)] = true;
  for (InstallUpdate& update : updates) {
    std::vector<InstallFile> kept;
    for (const InstallFile& file : update.files) {
      const WideText name = upper(file.client);
      const bool isWritten =
          written.contains(withSeparator(name, u'/')) || written.contains(withSeparator(name, u'\\'));
      if (file.updateFlag != 4 || !isWritten) kept.push_back(file);
    }
    update.files = kept;
  }
}

struct Sizes {
  std::int64_t reclaimPrimary = 0;
  std::int64_t reclaimSecondary = 0;
  std::int64_t sizePrimary = 0;
  std::int64_t sizeSecondary = 0;
  std::int64_t overhead = 0;
};

void addSlack(const InstallFile& file, Sizes& sizes) {
  sizes.overhead = sizes.overhead + 32'768 - file.fileSize % 32'768;
}

bool measureWithoutCard(const InstallFile& file, const PlainStorage& primary, Sizes& sizes) {
  const std::int32_t flag = file.updateFlag;
  if (flag == 0 || flag == 2) addSlack(file, sizes);
  if (has(primary, file.client)) {
    if (flag == 3) addSlack(file, sizes);
    if (flag == 0 || flag == 2 || flag == 3 || flag == 4)
      sizes.reclaimPrimary += realSize(primary, file.client);
    if (flag == 1) sizes.sizePrimary -= file.fileSize;
  } else {
    if (!primary.present) return false;
    if (flag == 1) addSlack(file, sizes);
    if (flag == 3) sizes.sizePrimary -= file.fileSize;
  }
  return true;
}

bool measureWithCard(const InstallFile& file, const PlainStorage& primary, const PlainStorage& secondary,
                     Sizes& sizes) {
  const std::int32_t flag = file.updateFlag;
  bool found = false;
  if (flag == 0 || flag == 2) addSlack(file, sizes);
  if (has(primary, file.client)) {
    if (flag == 3) {
      found = true;
      addSlack(file, sizes);
    }
    if (flag == 0 || flag == 2 || flag == 4) sizes.reclaimPrimary += realSize(primary, file.client);
    if (flag == 1) sizes.sizePrimary -= file.fileSize;
    if (flag == 3) sizes.sizePrimary -= realSize(primary, file.client);
  } else {
    if (!primary.present) return false;
    if (flag == 1) {
      found = true;
      addSlack(file, sizes);
    }
    if (flag == 3 && !has(secondary, file.client)) sizes.sizePrimary -= file.fileSize;
  }
  if (has(secondary, file.client)) {
    if (!found && flag == 3) addSlack(file, sizes);
    if (flag == 0 || flag == 2 || flag == 4) sizes.reclaimSecondary += realSize(secondary, file.client);
    if (flag == 1) sizes.sizeSecondary -= file.fileSize;
    if (flag == 3) sizes.sizeSecondary -= realSize(secondary, file.client);
  } else {
    if (!secondary.present) return false;
    if (!found && flag == 1) addSlack(file, sizes);
    if (flag == 3 && !has(primary, file.client)) sizes.sizeSecondary -= file.fileSize;
  }
  return true;
}

PlainAnswer failed(PlainAnswer answer, int exitCode) {
  answer.result = -1;
  answer.exitCode = exitCode;
  return answer;
}

void setLocation(InstallUpdate& update, bool software) {
  update.locationSoftware = software;
  update.locationContent = !software;
  update.locationOther = false;
}

}  // namespace

PlainAnswer plainDistribution(std::vector<InstallUpdate>& updates, const PlainStorage& primary,
                              const PlainStorage& secondary, const PlainMargins& margins) {
  PlainAnswer answer;
  Distribution& out = answer.distribution;
  expand(updates, {&primary, &secondary});
  dropDeletes(updates);

  if (!primary.present) {
    out.deficitSoftware = -1;
    out.deficitContent = -1;
    return failed(answer, 0);
  }
  const std::int64_t freePrimary = primary.free;
  std::int64_t freeSecondary = 0;
  if (secondary.named && secondary.present) freeSecondary = secondary.free;
  if (secondary.named && !secondary.present) out.deficitContent = -1;

  std::int64_t needPrimary = 0;
  std::int64_t needSecondary = 0;
  Sizes sizes;
  for (InstallUpdate& update : updates) {
    sizes.sizePrimary = update.updateSize;
    sizes.sizeSecondary = update.updateSize;
    sizes.overhead = 0;
    for (const InstallFile& file : update.files) {
      const bool measured = secondary.named ? measureWithCard(file, primary, secondary, sizes)
                                            : measureWithoutCard(file, primary, sizes);
      if (!measured) return failed(answer, 1249);
    }
    update.neededPrimary = sizes.sizePrimary;
    update.neededSecondary = sizes.sizeSecondary;
    update.clusterOverhead = sizes.overhead;
    if (!update.locationContent && !update.locationSoftware && !update.locationOther)
      return failed(answer, 1046);
    if (!secondary.named) {
      needPrimary += update.neededPrimary + sizes.overhead;
      setLocation(update, true);
    } else if (update.locationContent) {
      needSecondary += update.neededSecondary + sizes.overhead;
    } else if (update.locationSoftware) {
      needPrimary += update.neededPrimary + sizes.overhead;
    }
  }

  std::int64_t temporarySoftware = margins.temporarySpaceSoftware;
  std::int64_t temporaryContent = margins.temporarySpaceContent;
  if (temporarySoftware > tenMebibytes) temporarySoftware = tenMebibytes;
  if (temporaryContent > tenMebibytes) temporaryContent = tenMebibytes;

  for (InstallUpdate& update : updates) {
    if (!update.locationOther) continue;
    const bool fitsOnPrimary = tenMebibytes + margins.extraSpaceSoftware - temporarySoftware +
                                   update.clusterOverhead + update.neededPrimary + needPrimary <
                               freePrimary + sizes.reclaimPrimary;
    setLocation(update, fitsOnPrimary);
    if (fitsOnPrimary)
      needPrimary += update.neededPrimary + update.clusterOverhead;
    else
      needSecondary += update.neededSecondary + update.clusterOverhead;
  }

  const std::int64_t softwareDemand =
      tenMebibytes + margins.extraSpaceSoftware - temporarySoftware + needPrimary;
  const std::int64_t softwareLimit = freePrimary + sizes.reclaimPrimary;
  const std::int64_t contentDemand =
      tenMebibytes + margins.extraSpaceContent - temporaryContent + needSecondary;
  const std::int64_t contentLimit = freeSecondary + sizes.reclaimSecondary;
  out.neededSoftware = needPrimary - sizes.reclaimPrimary;
  if (!secondary.named) {
    out.fits = softwareDemand <= softwareLimit;
    if (!out.fits) out.deficitSoftware = softwareDemand - softwareLimit;
    return answer;
  }
  out.neededContent = needSecondary - sizes.reclaimSecondary;
  const bool softwareFits = softwareDemand <= softwareLimit || needPrimary == 0;
  const bool contentFits = contentDemand <= contentLimit || needSecondary == 0;
  out.fits = softwareFits && contentFits;
  if (!out.fits) {
    out.deficitSoftware = softwareDemand - softwareLimit;
    out.deficitContent = contentDemand - contentLimit;
  }
  return answer;
}

PlainOlderAnswer plainOlderDistribution(std::vector<InstallUpdate>& updates, std::int64_t total,
                                        const PlainStorage& primary, const PlainStorage& secondary) {
  PlainOlderAnswer answer;
  OlderDistribution& out = answer.distribution;
  expand(updates, {&primary, &secondary});
  dropDeletes(updates);

  if (!primary.present) {
    out.deficitSoftware = -1;
    out.deficitContent = -1;
    answer.result = -1;
    return answer;
  }
  std::int64_t freeSecondary = 0;
  if (secondary.named && secondary.present) freeSecondary = secondary.free;
  if (secondary.named && !secondary.present) out.deficitContent = -1;

  std::int64_t reclaimPrimary = 0;
  std::int64_t reclaimSecondary = 0;
  for (const InstallUpdate& update : updates) {
    for (const InstallFile& file : update.files) {
      const std::int32_t flag = file.updateFlag;
      if (flag != 0 && flag != 2 && flag != 3 && flag != 4) continue;
      if (has(primary, file.client)) reclaimPrimary += realSize(primary, file.client);
      if (secondary.named && has(secondary, file.client))
        reclaimSecondary += realSize(secondary, file.client);
    }
  }
  if (total + tenMebibytes <= primary.free + reclaimPrimary) {
    out.storage = 0;
    out.neededPrimary = total - reclaimPrimary;
  } else if (total + tenMebibytes <= freeSecondary + reclaimSecondary) {
    out.storage = 1;
    out.neededSecondary = total - reclaimSecondary;
  } else {
    out.storage = -1;
    out.deficitSoftware = tenMebibytes + total - primary.free - reclaimPrimary;
    if (freeSecondary != 0) out.deficitContent = tenMebibytes + total - freeSecondary - reclaimSecondary;
  }
  return answer;
}

}  // namespace ZelmoraTevra

// Pictures that are being sent, each in memory once however many take it. Used by the answer about
// a space's picture.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>

class ImageCache {
  public:
    /// The bytes of the picture with this key; `load` gets them where nobody has them. Never null.
    template <typename Load>
    std::shared_ptr<const std::string> get(const std::string& key, const Load& load) {
        std::erase_if(m_images, [](const auto& entry) { return entry.second.expired(); });
        std::weak_ptr<const std::string>& kept = m_images[key];
        std::shared_ptr<const std::string> image = kept.lock();
        if (image == nullptr) {
            image = std::make_shared<const std::string>(load());
            kept = image;
        }
        return image;
    }

  private:
    std::map<std::string, std::weak_ptr<const std::string>> m_images;
};

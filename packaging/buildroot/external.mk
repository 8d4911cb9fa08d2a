include $(sort $(wildcard $(BR2_EXTERNAL_QUILL_PATH)/package/*/*.mk))
